// CPU time of the calling thread, for real-time factors that do not count waiting.
#pragma once
#include <time.h>

class QwCpuTimer
{
public:
    QwCpuTimer() { m_fStart = Now(); }
    double Seconds() const { return Now() - m_fStart; }

private:
    static double Now()
    {
        timespec time;
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
        return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
    }
    double m_fStart;
};
