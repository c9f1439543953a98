#include "platform/ChildProcess.h"

#include <algorithm>
#include <cstdlib>
#include <system_error>
#include <windows.h>

#include "platform/windows/Handle.h"
#include "platform/windows/Wide.h"

namespace Platform {
namespace {

// As the C runtime takes a command line apart.
std::u16string quoted(const std::u16string& argument) {
    std::u16string text = u"\"";
    size_t backslashes = 0;
    for (const char16_t unit : argument) {
        if (unit == u'"')
            text.append(backslashes + 1, u'\\');
        backslashes = unit == u'\\' ? backslashes + 1 : 0;
        text += unit;
    }
    text.append(backslashes, u'\\');
    return text += u'"';
}

[[noreturn]] void fail(const char* what) {
    throw std::system_error(static_cast<int>(GetLastError()), std::system_category(), what);
}

}  // namespace

struct ChildProcess::State {
    Handle process;
    Handle job;
    DWORD id = 0;
};

ChildProcess::ChildProcess(const std::u16string& program, const std::vector<std::u16string>& arguments)
    : state_(std::make_unique<State>()) {
    std::u16string commandLine = quoted(program);
    for (const std::u16string& argument : arguments)
        commandLine += u' ' + quoted(argument);

    // The last handle to the job is this process's: when it is closed, the system ends what is in the job.
    state_->job.reset(CreateJobObjectW(nullptr, nullptr));
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
    limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
    if (!state_->job || !SetInformationJobObject(state_->job.get(), JobObjectExtendedLimitInformation,
                                                 &limits, sizeof limits))
        fail("job");
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION started{};
    if (!CreateProcessW(wide(program), wide(commandLine.data()), nullptr, nullptr, FALSE,
                        CREATE_SUSPENDED | CREATE_NO_WINDOW | CREATE_NEW_PROCESS_GROUP, nullptr, nullptr,
                        &startup, &started))
        fail("process");
    const Handle thread(started.hThread);
    state_->process.reset(started.hProcess);
    state_->id = started.dwProcessId;
    if (!AssignProcessToJobObject(state_->job.get(), started.hProcess) ||
        ResumeThread(started.hThread) == static_cast<DWORD>(-1)) {
        TerminateProcess(started.hProcess, 1);
        fail("process");
    }
}

ChildProcess::~ChildProcess() {
    askToEnd();
    WaitForSingleObject(state_->process.get(), INFINITE);
}

uint32_t ChildProcess::id() const noexcept {
    return state_->id;
}

void ChildProcess::askToEnd() noexcept {
    TerminateProcess(state_->process.get(), 0);
}

std::optional<int> ChildProcess::waitFor(std::chrono::milliseconds time) {
    constexpr int64_t longest = INFINITE - 1;
    const auto milliseconds = static_cast<DWORD>(std::clamp<int64_t>(time.count(), 0, longest));
    DWORD code = 0;
    if (WaitForSingleObject(state_->process.get(), milliseconds) != WAIT_OBJECT_0 ||
        !GetExitCodeProcess(state_->process.get(), &code))
        return std::nullopt;
    return static_cast<int>(code);
}

std::u16string findProgram(const std::u16string& name) {
    const wchar_t* const path = _wgetenv(L"PATH");
    const std::u16string folders = path ? narrow(path) : std::u16string();
    for (size_t begin = 0; begin < folders.size();) {
        const size_t end = std::min(folders.find(u';', begin), folders.size());
        const std::u16string folder = folders.substr(begin, end - begin);
        begin = end + 1;
        // Relative folders are whoever's the current folder is.
        if (folder.size() < 3 || folder.compare(1, 2, u":\\") != 0)
            continue;
        const std::u16string file = folder + u'\\' + name + u".exe";
        const DWORD attributes = GetFileAttributesW(wide(file));
        if (attributes != INVALID_FILE_ATTRIBUTES && !(attributes & FILE_ATTRIBUTE_DIRECTORY))
            return file;
    }
    return {};
}

}  // namespace Platform
