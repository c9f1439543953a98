// A record of the log on its way into the file that processes share, beside the system calls that this takes
// at least.
#include <fcntl.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>
#include <stdexcept>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "bench/Run.h"
#include "logging/Log.h"
#include "support/PlatformFolder.h"

namespace Bench {
namespace {

constexpr std::u16string_view logSource = u"bench_log";
constexpr std::u16string_view function = u"Bench::record";
const std::u16string instance = u"4711";

void record(benchmark::State& state) {
    for ([[maybe_unused]] auto each : state)
        LOG_FORMATTED(ETWLogging::levelInformation, function, u"Alert instance %ls deleted.", instance);
}

void belowThreshold(benchmark::State& state) {
    for ([[maybe_unused]] auto each : state)
        LOG_FORMATTED(ETWLogging::levelNormal, function, u"Alert instance %ls deleted.", instance);
}

class File {
public:
    explicit File(const std::string& path)
        : descriptor_(open(path.c_str(), O_CREAT | O_APPEND | O_RDWR, 0600)) {
        if (descriptor_ < 0)
            throw std::runtime_error("cannot open " + path);
    }
    ~File() { close(descriptor_); }
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    operator int() const { return descriptor_; }

private:
    const int descriptor_;
};

// Under the lock that all writers share, a look at the file's size and the line.
void systemCalls(benchmark::State& state, const std::string& folder) {
    const File lock(folder + "/floor.lock"), file(folder + "/floor.log");
    constexpr std::string_view line =
        "11/26/2026 04:05:06 AM$ -- (Information)$ [      bench_log]$ Alert instance 4711 deleted.\r\n";
    struct stat status;
    for ([[maybe_unused]] auto each : state) {
        flock(lock, LOCK_EX);
        fstat(file, &status);
        if (write(file, line.data(), line.size()) < 0)
            state.SkipWithError("cannot write");
        flock(lock, LOCK_UN);
    }
}

// Not safe among processes.
void otherLogger(benchmark::State& state, const std::string& folder) {
    const auto logger = std::make_shared<spdlog::logger>(
        "bench", std::make_shared<spdlog::sinks::basic_file_sink_mt>(folder + "/spdlog.log"));
    logger->set_pattern("%m/%d/%Y %I:%M:%S %p$ -- (%l)$ [%n]$ %v");
    logger->flush_on(spdlog::level::info);
    for ([[maybe_unused]] auto each : state)
        logger->info("Alert instance {} deleted.", 4711);
}

}  // namespace
}  // namespace Bench

int main(int argc, char** argv) {
    using namespace Bench;
    return run(argc, argv, [] {
        const Support::PlatformFolder folder;
        benchmark::RegisterBenchmark("record", record)->UseRealTime();
        benchmark::RegisterBenchmark("below threshold", belowThreshold);
        benchmark::RegisterBenchmark("system calls", systemCalls, folder.path().string())->UseRealTime();
        benchmark::RegisterBenchmark("spdlog", otherLogger, folder.path().string())->UseRealTime();
        LOG_MESSAGE(ETWLogging::levelInformation, function, u"Let the file be there.");
        if (ETWLogging::isLogEnabled(ETWLogging::levelNormal) ||
            !std::filesystem::exists(folder.data() / "Corvane" / "CVLOGS"))
            throw std::runtime_error("the log is not as it usually is");
        benchmark::RunSpecifiedBenchmarks();
    });
}
