// Runs the runtime's own initialisations once, such as that of the locales, which regular expressions need.
// The thread library's function makes a record of the calling thread, with handles, and leaves those of the
// host's threads behind when this library is freed.
#include <atomic>
#include <pthread.h>
#include <windows.h>

// The link puts it in the place of pthread_once.
extern "C" int __wrap_pthread_once(pthread_once_t* once, void (*initialize)()) {
    constexpr pthread_once_t fresh = PTHREAD_ONCE_INIT, done = 1, running = 2;
    const std::atomic_ref<pthread_once_t> state(*once);
    for (pthread_once_t found = fresh; !state.compare_exchange_strong(found, running); found = fresh) {
        if (found == done)
            return 0;
        Sleep(1);
    }
    // An exception leaves it undone for the next caller.
    struct End {
        ~End() { state.store(result); }
        std::atomic_ref<pthread_once_t> state;
        pthread_once_t result = fresh;
    } end{state};
    initialize();
    end.result = done;
    return 0;
}
