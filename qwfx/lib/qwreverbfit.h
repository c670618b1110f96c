// The reverb's model fitted to a measured room response, in-process with the module's
// ReverbModeler, and a model's replay through the loaded reverb effect.
#pragma once
#include <cstdint>
#include <string>
#include <vector>
#include "qwfx/lib/qwmodule.h"
#include "qwfx/lib/qwplanaraudio.h"
#include "qwfx/lib/qwreverbmodel.h"

struct QwReverbFit
{
    QwReverbModel model;
    uint32_t uSampleRate = 0;
    uint32_t uTransition = 0;     // samples: where the network takes over from the early response
    uint32_t uOnset = 0;          // samples: where the response has audibly started
    uint32_t uFilterLength = 0;
    uint32_t uEarlyLength = 0;
    double fSeconds = 0.0;        // wall time of the fit
    double fCpuSeconds = 0.0;     // CPU time of the fitting thread
    std::vector<std::string> warnings; // what the modeler reported along the way
};

// "A,B": two 0-based channel numbers (the same one twice feeds it to both network channels).
bool QwParseChannelPair(const std::string& in_sText, uint32_t out_auChannels[2], std::string& out_sError);

// The two channels the network is fitted to: a mono response feeds both, a stereo one goes as
// it is, and a wider one needs in_pauChannels (null when not given). Errors name in_sName.
bool QwPickReverbChannels(const QwPlanarAudio& in_ir, const std::string& in_sName, const uint32_t* in_pauChannels,
                          QwPlanarAudio& out_pair, std::string& out_sError);

// The network order the reverb builds for its order parameter: 16, or else 8.
uint32_t QwReverbOrder(uint32_t in_uOrderParam);

// Fits a two-channel response for a reverb of in_uOrder lines. Binds its own allocator for
// the module's code while it runs and restores the previous binding after.
bool QwFitReverb(const QwPlanarAudio& in_pair, uint32_t in_uOrder, QwReverbFit& out_fit, std::string& out_sError);

// Reads, picks the channels (in_pauChannels may be null) and fits.
bool QwFitReverbFile(const std::string& in_sPath, const uint32_t* in_pauChannels, uint32_t in_uOrder,
                     QwReverbFit& out_fit, std::string& out_sError);

// The model's impulse response as the effect plays it: a unit impulse on both channels of a
// stereo stream, dry at -96.3 dB and wet at 0 dB, in_uFrames long, blocks of 512.
bool QwReplayReverbModel(const QwModule& in_module, const std::vector<uint8_t>& in_record, uint32_t in_uSampleRate,
                         uint32_t in_uOrder, size_t in_uFrames, QwPlanarAudio& out_replay, std::string& out_sError);
