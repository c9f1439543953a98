// A message name against many patterns, as a bus without an index must compare them.
#include <vector>

#include "bench/Run.h"
#include "text/NamePattern.h"
#include "text/Number.h"
#include "text/Utf.h"

namespace Bench {
namespace {

constexpr uint64_t outcomes = 1000;
const std::u16string alert = u"Brevant.Alert.";

// What the broker subscribes to for each alert on show.
std::vector<Ferrow::NamePattern> outcomePatterns() {
    std::vector<Ferrow::NamePattern> patterns;
    for (uint64_t number = 1; number <= outcomes; ++number) {
        const std::u16string word = Ferrow::decimal(number);
        patterns.emplace_back(alert + word + u"(.Dismissed.|.Failed.)" + word);
    }
    return patterns;
}

void match(benchmark::State& state, const std::vector<Ferrow::NamePattern>& patterns,
           const std::u16string& text) {
    for ([[maybe_unused]] auto each : state) {
        const Ferrow::MatchName name(text);
        size_t matches = 0;
        for (const Ferrow::NamePattern& pattern : patterns)
            matches += pattern.matches(name);
        if (matches != 1)
            state.SkipWithError("the name does not match one pattern");
    }
}

void compare(benchmark::State& state, const std::u16string& text) {
    std::vector<std::u16string> heads;
    for (uint64_t number = 1; number <= outcomes; ++number)
        heads.push_back(alert + Ferrow::decimal(number));
    for ([[maybe_unused]] auto each : state) {
        size_t matches = 0;
        for (const std::u16string& head : heads)
            matches += std::u16string_view(text).starts_with(head);
        benchmark::DoNotOptimize(matches);
    }
}

}  // namespace
}  // namespace Bench

int main(int argc, char** argv) {
    using namespace Bench;
    return run(argc, argv, [] {
        std::vector<Ferrow::NamePattern> patterns = outcomePatterns();
        const std::u16string name = alert + u"777.Dismissed.777";
        benchmark::RegisterBenchmark("patterns",
                                     [&](benchmark::State& state) { match(state, patterns, name); });
        benchmark::RegisterBenchmark("prefixes", compare, name);

        std::vector<Ferrow::NamePattern> all = outcomePatterns();
        for (const char16_t* request : {u"Brevant.Alert.Show..+", u"Brevant.Alert.Delete..+",
                                        u"Brevant.Alert.GetId", u"SystemMonitor.UserSession.Logoff"})
            all.emplace_back(request);
        const std::u16string longName = alert + u"Show." + std::u16string(1'000'000, u'x');
        benchmark::RegisterBenchmark("long name",
                                     [&](benchmark::State& state) { match(state, all, longName); });
        benchmark::RunSpecifiedBenchmarks();
    });
}
