#include "qwfx/lib/qwtransients.h"
#include <unistd.h>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <deque>
#include "kvbase/common/common_allocator.h"
#include "kvdspbase/dsp/lpc.h"
#include "qwfx/lib/qwassertlog.h"
#include "qwfx/lib/qwhostallocator.h"

namespace {

// Frames a call: also the room the analyser keeps for new samples.
const uint32_t BLOCK = 4096;

uint32_t MsToSamples(double in_dMs, uint32_t in_uRate)
{
    const double d = in_dMs * 0.001 * in_uRate;
    return static_cast<uint32_t>(d + 0.5);
}

// Strongest first; equal measures earliest first, then by channel.
bool Stronger(const QwTransient& a, const QwTransient& b)
{
    if (a.fMeasure != b.fMeasure)
        return a.fMeasure > b.fMeasure;
    if (a.uFrame != b.uFrame)
        return a.uFrame < b.uFrame;
    return a.uChannel < b.uChannel;
}

// The uTop strongest peaks seen, in a heap whose top is the weakest kept.
class TopPeaks
{
public:
    explicit TopPeaks(uint32_t in_uTop) : m_uTop(in_uTop) {}
    void Add(const QwTransient& in_peak)
    {
        ++uSeen;
        if (m_heap.size() == m_uTop && !Stronger(in_peak, m_heap.front()))
            return;
        m_heap.push_back(in_peak);
        std::push_heap(m_heap.begin(), m_heap.end(), Stronger);
        if (m_heap.size() > m_uTop) {
            std::pop_heap(m_heap.begin(), m_heap.end(), Stronger);
            m_heap.pop_back();
        }
    }
    std::vector<QwTransient> Sorted() const
    {
        std::vector<QwTransient> peaks = m_heap;
        std::sort(peaks.begin(), peaks.end(), Stronger);
        return peaks;
    }
    uint64_t uSeen = 0;

private:
    uint32_t m_uTop;
    std::vector<QwTransient> m_heap;
};

// One channel's stream of measures, sample by sample. A value qualifies when it is above every
// value within the gap before it and not below any within the gap after it, so that any two
// qualifying values are more than the gap apart. At most one candidate waits for its gap
// after: a later qualifier is larger than it, which disqualifies it.
class GapMaxima
{
public:
    GapMaxima(uint32_t in_uChannel, uint64_t in_uGap, TopPeaks& io_top)
        : m_uChannel(in_uChannel), m_uGap(in_uGap), m_top(io_top)
    {
    }
    void Push(uint64_t i, float x)
    {
        if (m_bPending && i > m_pending.uFrame + m_uGap)
            Confirm();
        if (m_bPending && x > m_pending.fMeasure)
            m_bPending = false;
        // Largest of the last gap values, kept as a decreasing run.
        while (!m_window.empty() && m_window.front().first + m_uGap < i)
            m_window.pop_front();
        const bool bAboveBefore = m_window.empty() || x > m_window.front().second;
        if (bAboveBefore && x > 0.0f && !m_bPending) {
            m_pending = QwTransient{i, m_uChannel, x};
            m_bPending = true;
        }
        while (!m_window.empty() && m_window.back().second <= x)
            m_window.pop_back();
        m_window.emplace_back(i, x);
    }
    void Finish()
    {
        if (m_bPending)
            Confirm();
    }

private:
    void Confirm()
    {
        m_top.Add(m_pending);
        m_bPending = false;
    }
    uint32_t m_uChannel;
    uint64_t m_uGap;
    TopPeaks& m_top;
    std::deque<std::pair<uint64_t, float>> m_window;
    QwTransient m_pending{0, 0, 0.0f};
    bool m_bPending = false;
};

} // namespace

bool QwCheckTransientOptions(const QwTransientOptions& in_options, uint32_t in_uSampleRate, std::string& out_sError)
{
    char acFrame[32];
    std::snprintf(acFrame, sizeof(acFrame), "%g", in_options.dFrameMs);
    const uint32_t uFrame = MsToSamples(in_options.dFrameMs, in_uSampleRate);
    if (in_options.uOrder < 1 || in_options.uOrder > 256)
        out_sError = "bad --order " + std::to_string(in_options.uOrder) + ": expected 1 to 256";
    else if (!(in_options.dFrameMs > 0.0) || in_options.dFrameMs > 10000.0)
        out_sError = "bad --frame: expected milliseconds above 0, up to 10000";
    else if (uFrame < 2 * in_options.uOrder)
        out_sError = "--frame " + std::string(acFrame) + " ms is " + std::to_string(uFrame) +
                     " samples at " + std::to_string(in_uSampleRate) + " Hz, too short for order " +
                     std::to_string(in_options.uOrder) + ": give at least " + std::to_string(2 * in_options.uOrder) +
                     " samples";
    else if (!(in_options.dHopMs > 0.0) || in_options.dHopMs > 10000.0)
        out_sError = "bad --hop: expected milliseconds above 0, up to 10000";
    else if (!(in_options.dMinGapMs >= 0.0) || in_options.dMinGapMs > 3600000.0)
        out_sError = "bad --min-gap: expected milliseconds from 0";
    else if (in_options.uTop < 1)
        out_sError = "bad --top: expected 1 or more";
    return out_sError.empty();
}

bool QwFindTransients(const QwPlanarAudio& in_audio, const QwTransientOptions& in_options,
                      QwTransientReport& out_report, std::string& out_sError)
{
    const uint32_t C = in_audio.NumChannels();
    const uint64_t N = in_audio.NumFrames();
    if (C == 0 || N == 0) {
        out_sError = "the file holds no audio";
        return false;
    }
    const uint32_t uRate = in_audio.uSampleRate;
    out_report = QwTransientReport();
    // At least 1: a plain local maximum, above its left neighbour and not below its right one.
    out_report.uGapSamples = std::max<uint32_t>(1, MsToSamples(in_options.dMinGapMs, uRate));
    TopPeaks top(in_options.uTop);
    std::vector<GapMaxima> maxima;
    for (uint32_t c = 0; c < C; ++c)
        maxima.emplace_back(c, out_report.uGapSamples, top);

    const QwAllocatorBinding previousBinding = GetAllocatorBinding();
    const QwAssertHookFn pPreviousHook = g_pQWPluginList.QwAssertHook;
    QwHostAllocator allocator;
    QwAssertLog asserts;
    BindAllocator(&allocator, 0, 0);
    g_pQWPluginList.QwAssertHook = &QwAssertLog::Hook;
    bool bOk = true;
    {
        LpcResidualAnalyzer analyzer;
        analyzer.Configure(C, BLOCK, static_cast<float>(uRate));
        analyzer.Init(static_cast<float>(in_options.dFrameMs * 0.001), in_options.uOrder,
                      static_cast<float>(in_options.dHopMs * 0.001));
        out_report.uFrameSamples = analyzer.GetFrame();
        out_report.uHopSamples = analyzer.GetHop();
        bOk = !IsOutOfMemory();
        // The measure of input frame i comes out latency frames later; silence flushes the end.
        const uint64_t L = analyzer.GetLatency();
        std::vector<std::vector<float>> in(C, std::vector<float>(BLOCK)), out = in;
        std::vector<const float*> pIn(C);
        std::vector<float*> pOut(C);
        const uint64_t uProgressStep = std::max<uint64_t>(N / 100, BLOCK);
        uint64_t uNextProgress = uProgressStep;
        for (uint64_t uPos = 0; bOk && uPos < N + L; uPos += BLOCK) {
            for (uint32_t c = 0; c < C; ++c) {
                const std::vector<float>& x = in_audio.channels[c];
                const uint64_t uHave = uPos < N ? std::min<uint64_t>(BLOCK, N - uPos) : 0;
                if (uHave)
                    std::copy(x.begin() + uPos, x.begin() + uPos + uHave, in[c].begin());
                std::fill(in[c].begin() + uHave, in[c].end(), 0.0f);
                pIn[c] = in[c].data();
                pOut[c] = out[c].data();
            }
            analyzer.Analyze(BLOCK, pIn.data(), pOut.data(), nullptr, nullptr, nullptr, 0);
            for (uint32_t c = 0; c < C; ++c)
                for (uint64_t j = 0; j < BLOCK; ++j)
                    if (uPos + j >= L && uPos + j - L < N)
                        maxima[c].Push(uPos + j - L, out[c][j]);
            if (in_options.progress && uPos + BLOCK >= uNextProgress) {
                in_options.progress(std::min(uPos + BLOCK, N + L) * N / (N + L), N);
                uNextProgress += uProgressStep;
            }
        }
    }
    g_pQWPluginList.QwAssertHook = pPreviousHook;
    GetAllocatorBinding() = previousBinding;
    out_report.uAssertions = asserts.Total();
    if (!bOk) {
        out_sError = "out of memory for the analysis";
        return false;
    }
    for (GapMaxima& m : maxima)
        m.Finish();
    if (in_options.progress)
        in_options.progress(N, N);
    out_report.peaks = top.Sorted();
    out_report.uCandidates = top.uSeen;
    return true;
}

bool QwWriteTransientsCsv(const std::string& in_sPath, const std::vector<QwTransient>& in_peaks,
                          uint32_t in_uSampleRate, std::string& out_sError)
{
    const std::string sTemp = in_sPath + ".partial-" + std::to_string(getpid());
    FILE* pFile = std::fopen(sTemp.c_str(), "w");
    if (!pFile) {
        out_sError = "cannot write '" + in_sPath + "'";
        return false;
    }
    bool bOk = std::fprintf(pFile, "time_s,channel,measure\n") > 0;
    for (const QwTransient& peak : in_peaks)
        bOk = bOk && std::fprintf(pFile, "%.6f,%u,%.9g\n", static_cast<double>(peak.uFrame) / in_uSampleRate,
                                  peak.uChannel, static_cast<double>(peak.fMeasure)) > 0;
    bOk = std::fclose(pFile) == 0 && bOk;
    if (!bOk || std::rename(sTemp.c_str(), in_sPath.c_str()) != 0) {
        std::remove(sTemp.c_str());
        out_sError = "cannot write '" + in_sPath + "'";
        return false;
    }
    return true;
}
