// A watcher thread that tells the user, on stderr, that a long piece of work is still going:
// nothing for the first second, then the seconds so far.
#include <unistd.h>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <thread>
#include "qwfx/qwfxcli.h"

void QwfxRunWithProgress(const char* in_pszWhat, const std::function<void()>& in_work)
{
    std::mutex mutex;
    std::condition_variable done;
    bool bDone = false;
    std::thread watcher([&] {
        const bool bTerminal = isatty(STDERR_FILENO);
        std::unique_lock<std::mutex> lock(mutex);
        int iSeconds = 0;
        while (!done.wait_for(lock, std::chrono::seconds(1), [&] { return bDone; })) {
            ++iSeconds;
            // A terminal gets a line that counts; a log gets one line only.
            if (bTerminal)
                std::fprintf(stderr, "\rqwfx: %s, %d s", in_pszWhat, iSeconds);
            else if (iSeconds == 1)
                std::fprintf(stderr, "qwfx: %s...\n", in_pszWhat);
        }
        if (bTerminal && iSeconds > 0)
            std::fprintf(stderr, "\n");
    });
    in_work();
    {
        std::lock_guard<std::mutex> lock(mutex);
        bDone = true;
    }
    done.notify_one();
    watcher.join();
}
