// Finding clicks, dropouts and edits in a recording: the linear-prediction residual measure of
// the DSP toolkit run over a whole file, and its strongest local maxima per channel.
#pragma once
#include <cstdint>
#include <functional>
#include <string>
#include <vector>
#include "qwfx/lib/qwplanaraudio.h"

struct QwTransientOptions
{
    uint32_t uOrder = 16;
    double dFrameMs = 20.0;
    double dHopMs = 5.0;
    uint32_t uTop = 20;
    double dMinGapMs = 50.0;
    // Called now and then with the frames analysed and the total.
    std::function<void(uint64_t, uint64_t)> progress;
};

struct QwTransient
{
    uint64_t uFrame;
    uint32_t uChannel;
    float fMeasure;
};

struct QwTransientReport
{
    std::vector<QwTransient> peaks;  // strongest first; ties earliest first, then lower channel
    uint64_t uCandidates = 0;        // all local maxima that qualified, before the cut to the top
    uint32_t uFrameSamples = 0;
    uint32_t uHopSamples = 0;
    uint32_t uGapSamples = 0;
    size_t uAssertions = 0;          // reports from the analyser (none expected)
};

// The options against the file's rate: an order from 1 to 256, a frame of at least twice the
// order in samples, a hop and a frame above 0, a gap of 0 or more. False with the reason.
bool QwCheckTransientOptions(const QwTransientOptions& in_options, uint32_t in_uSampleRate, std::string& out_sError);

// Runs the analyser in this process, its memory from an allocator of its own, and keeps each
// channel's maxima of the measure that stand above everything within the minimum gap on either
// side (the earlier of equal values), the strongest uTop of them. False on an empty file or
// when memory runs out.
bool QwFindTransients(const QwPlanarAudio& in_audio, const QwTransientOptions& in_options,
                      QwTransientReport& out_report, std::string& out_sError);

// One header line, time_s,channel,measure, then a row per peak; written beside the target and
// renamed into place, so that a failure leaves no partial file.
bool QwWriteTransientsCsv(const std::string& in_sPath, const std::vector<QwTransient>& in_peaks,
                          uint32_t in_uSampleRate, std::string& out_sError);
