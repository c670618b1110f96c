// qwfx stress [EFFECT] [--seconds S] [--seed N]: drives effects the way a careless or hostile
// host might, and checks what must hold whatever the host does.
//
// Per effect, for the given time: several instances on one allocator, each with its own layout,
// sample rate and largest block; random valid lengths from 0 to the largest; SetParam writes
// in range and far out of it (NaN, infinities, huge, negative, zero, integers past the choices,
// unknown identifiers); Reset and TimeSkip at random; streams that end, ring out and resume;
// inputs of noise, silence, full-scale squares, denormals, NaN and infinities; instances torn
// down and rebuilt. It checks: no allocation in Execute but for the filters' type change, no
// assertion while host, input and parameters are all within bounds, finite output then too,
// tails that end, every block given back by Term, and no block slower in CPU time than 20 times
// the median of its kind (a denormal stall).
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <map>
#include <memory>
#include <random>
#include <tuple>
#include "qwfx/lib/qwcputimer.h"
#include "qwfx/lib/qweffectinstance.h"
#include "qwfx/lib/qweffectmeta.h"
#include "qwfx/lib/qwhostallocator.h"
#include "qwfx/lib/qwlayout.h"
#include "qwfx/lib/qwpluginnames.h"
#include "qwfx/qwfxcli.h"

namespace {

const uint16_t MAX_FRAMES_CHOICES[] = {1, 64, 256, 480, 512, 1000, 1024, 1536, 3000, 4096};
const uint32_t RATE_CHOICES[] = {44100, 48000, 96000};
const char* const LAYOUTS[] = {"mono", "stereo", "4.0", "5.0", "5.1", "7.1"};
const uint32_t INSTANCES = 3;
// A tail still ringing after this much audio counts as one that does not end.
const double TAIL_LIMIT_SECONDS = 30.0;
// Tails are followed this many blocks at most: tiny blocks would spend the run on one tail.
const uint64_t TAIL_BLOCK_LIMIT = 20000;
const double SLOW_FACTOR = 20.0;
// Below this a block's CPU time is timer and cache noise, not a stall.
const double SLOW_FLOOR_SECONDS = 50e-6;
const size_t FAILURES_SHOWN = 10;

// Assertions that the host's own choices call for, by design: Bit Wrench reports blocks above
// its 1024 frames, and Cheap Digital's integer conversion reports the wrap at full scale that
// is part of its sound.
struct CalledFor
{
    uint32_t uPluginId;
    const char* pszExpression;
    uint16_t uAboveMaxFrames; // only when the largest block is above this
};
const CalledFor CALLED_FOR[] = {
    {3, "uSamples <= MAX_BUFFER_SIZE", 1024},
    {9, "uSamples <= MAX_BUFFER_SIZE", 1024},
    {3, "implicit_cast_conversion_check(T(), u)", 0},
    {9, "implicit_cast_conversion_check(T(), u)", 0},
};

// The two distortion effects leave their DSP alone on Reset, so a non-finite input stays in
// their filters until the instance is built anew.
bool ResetClearsState(uint32_t in_uPluginId) { return in_uPluginId != 3 && in_uPluginId != 9; }

// The filters accept LFO shape 5 but stop the filter with an assertion at every block: it is
// a value out of range though the table lists it.
uint32_t InRangeMax(const QwEffectMeta& in_meta, const QwParamMeta& in_param)
{
    if (in_meta.uPluginId == 6 && std::strstr(in_param.pszName, "lfo-shape"))
        return 4;
    return static_cast<uint32_t>(in_param.fMax);
}

struct StressCounts
{
    uint64_t uInits = 0, uInitFailures = 0, uBlocks = 0, uFrames = 0, uCleanBlocks = 0;
    uint64_t uParamsInRange = 0, uParamsHostile = 0, uUnknownIds = 0, uResets = 0, uTimeSkips = 0;
    uint64_t uStreamEnds = 0, uTailFrames = 0, uHostileInputs = 0, uExecuteAllocs = 0;
    uint64_t uAssertsCalledFor = 0, uTimedBlocks = 0, uTailsCut = 0, uSlowBlocks = 0, uDiverged = 0;
    std::vector<std::string> failures;
};

struct Slot
{
    std::unique_ptr<QwEffectInstance> pInstance;
    const QwLayout* pLayout = nullptr;
    uint32_t uRate = 48000;
    uint16_t uMaxFrames = 512;
    // Host, inputs and parameters all within bounds since the last Reset (or the Init).
    bool bParamsInRange = true;
    bool bStateClean = true;
    bool bTypeWritten = false;
    // Blocks that convert new values, or follow an Init or Reset, are not timed.
    bool bSettled = false;
    std::vector<float> block;
    std::vector<double> values;      // the present value of each parameter, in table order
    std::vector<double> times;       // CPU seconds of full blocks since the values last changed
    uint64_t uLongestTail = 0;
    // The values were put back in range: the state counts as clean after the block that
    // applies them, since that block still runs on the old ones while it converts.
    bool bCleanAfterNext = false;
};

class Stresser
{
public:
    Stresser(QwfxSession& io_session, const QwPluginRegistration& in_record, const QwEffectMeta& in_meta,
             uint32_t in_uSeed)
        : m_session(io_session), m_record(in_record), m_meta(in_meta), m_rng(in_uSeed)
    {
    }

    void Run(double in_fSeconds)
    {
        const auto start = std::chrono::steady_clock::now();
        auto elapsed = [&] { return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(); };
        for (Slot& slot : m_slots)
            Rebuild(slot);
        while (elapsed() < in_fSeconds) {
            Slot& slot = m_slots[Pick(INSTANCES)];
            if (!slot.pInstance || Chance(0.002)) {
                Rebuild(slot);
                continue;
            }
            Step(slot);
        }
        for (Slot& slot : m_slots) {
            CheckSlowBlocks(slot);
            slot.pInstance.reset();
        }
        if (!m_allocator.Balanced())
            Fail("Term kept " + std::to_string(m_allocator.LiveBlocks()) + " memory blocks");
        if (m_allocator.BadFrees())
            Fail(std::to_string(m_allocator.BadFrees()) + " frees of blocks never allocated");
    }

    StressCounts counts;

private:
    uint32_t Pick(uint32_t in_uCount) { return std::uniform_int_distribution<uint32_t>(0, in_uCount - 1)(m_rng); }
    bool Chance(double in_fP) { return std::uniform_real_distribution<double>(0.0, 1.0)(m_rng) < in_fP; }
    float Uniform(double in_fLow, double in_fHigh)
    {
        return static_cast<float>(std::uniform_real_distribution<double>(in_fLow, in_fHigh)(m_rng));
    }

    void Fail(const std::string& in_sWhat) { counts.failures.push_back(m_meta.pszShortName + (": " + in_sWhat)); }

    std::string Describe(const Slot& in_slot) const
    {
        std::string sText = std::string(in_slot.pLayout->pszName) + " " + std::to_string(in_slot.uRate) +
                            " Hz, max block " + std::to_string(in_slot.uMaxFrames);
        for (uint32_t i = 0; i < m_meta.uParamCount && i < in_slot.values.size(); ++i)
            if (!(in_slot.values[i] == m_meta.pParams[i].fDefault)) {
                char acValue[64];
                std::snprintf(acValue, sizeof acValue, ", %s=%g", m_meta.pParams[i].pszName, in_slot.values[i]);
                sText += acValue;
            }
        return sText;
    }

    // A new instance with its own layout, rate and largest block, defaults for its values.
    void Rebuild(Slot& io_slot)
    {
        CheckSlowBlocks(io_slot);
        io_slot.pInstance.reset();
        io_slot.pLayout = QwFindLayout(LAYOUTS[Pick(6)]);
        io_slot.uRate = RATE_CHOICES[Pick(3)];
        io_slot.uMaxFrames = MAX_FRAMES_CHOICES[Pick(sizeof MAX_FRAMES_CHOICES / sizeof MAX_FRAMES_CHOICES[0])];
        io_slot.block.assign(static_cast<size_t>(io_slot.pLayout->uChannels) * io_slot.uMaxFrames, 0.0f);
        io_slot.bParamsInRange = io_slot.bStateClean = true;
        io_slot.bTypeWritten = io_slot.bSettled = false;
        SetDefaults(io_slot);
        io_slot.uLongestTail = 0;
        std::vector<uint8_t> media;
        if (m_meta.pfnMakeMedia)
            media = m_meta.pfnMakeMedia(io_slot.uRate, m_meta.pBenchPresets[0].pszName);
        io_slot.pInstance.reset(new QwEffectInstance(m_allocator));
        const size_t uAssertsBefore = m_session.asserts.Total();
        QwResult eResult = io_slot.pInstance->CreateParams(m_record, {}, m_meta.uBlockBytes);
        if (eResult == QW_Success)
            eResult = io_slot.pInstance->CreateEffect(
                m_record, QwFormat{io_slot.uRate, io_slot.pLayout->ChannelConfig(), 0}, io_slot.uMaxFrames, media);
        ++counts.uInits;
        if (m_session.asserts.Total() != uAssertsBefore)
            Fail("Init fired an assertion (" + Describe(io_slot) + ")");
        if (eResult != QW_Success) {
            ++counts.uInitFailures;
            Fail("Init returned " + std::to_string(eResult) + " (" + Describe(io_slot) + ")");
            io_slot.pInstance.reset();
        }
    }

    void SetDefaults(Slot& io_slot)
    {
        io_slot.values.resize(m_meta.uParamCount);
        for (uint32_t i = 0; i < m_meta.uParamCount; ++i)
            io_slot.values[i] = m_meta.pParams[i].fDefault;
    }

    double Value(const std::vector<double>& in_values, const char* in_pszName) const
    {
        for (uint32_t i = 0; i < m_meta.uParamCount && i < in_values.size(); ++i)
            if (std::strcmp(m_meta.pParams[i].pszName, in_pszName) == 0)
                return in_values[i];
        return 0.0;
    }

    // The tail is computed before a block's new values are applied, a tail once started never
    // shrinks, and the engine keeps its last value in place of one out of range: so the
    // longest tail any values of this instance announced.
    uint64_t TailLimit(Slot& io_slot) const
    {
        io_slot.uLongestTail = std::max(io_slot.uLongestTail, TailLimit(io_slot, io_slot.values));
        return io_slot.uLongestTail;
    }

    // The tail the effect announces, where it depends on values: the delay's time for its
    // echoes to fall by 100 dB. Otherwise the general limit.
    uint64_t TailLimit(const Slot& in_slot, const std::vector<double>& in_values) const
    {
        const uint64_t uGeneral = static_cast<uint64_t>(TAIL_LIMIT_SECONDS * in_slot.uRate);
        if (m_meta.uPluginId != 4)
            return uGeneral;
        double f = Value(in_values, "feedback") * 0.01;
        if (f > 1.0)
            f = 0.999;
        if (f < 0.005 || f == 1.0)
            return 2u * in_slot.uMaxFrames;
        const double fTail = -0.011512926 / std::log(f) * in_slot.uRate * Value(in_values, "time");
        return static_cast<uint64_t>(fTail) + 2u * in_slot.uMaxFrames;
    }

    void WriteParam(Slot& io_slot)
    {
        QwParamSink& params = *io_slot.pInstance->Params();
        if (Chance(0.02)) {
            const uint32_t uBits = static_cast<uint32_t>(m_rng());
            const QwResult eResult = params.SetParam(static_cast<uint16_t>(1000 + Pick(60000)), &uBits, 4);
            ++counts.uUnknownIds;
            if (eResult != QW_UnknownParam)
                Fail("SetParam of an unknown identifier returned " + std::to_string(eResult));
            return;
        }
        const uint32_t iParam = Pick(m_meta.uParamCount);
        const QwParamMeta& param = m_meta.pParams[iParam];
        uint32_t uBits = 0;
        const bool bInRange = Chance(0.85);
        if (param.eType == QwParamType::U32) {
            const uint32_t uLow = static_cast<uint32_t>(param.fMin), uHigh = InRangeMax(m_meta, param);
            const uint32_t auHostile[] = {uHigh + 1, uHigh + 2, 0xFFFFFFFFu, 0x80000000u, 1000u,
                                          static_cast<uint32_t>(m_rng())};
            uBits = bInRange ? uLow + Pick(uHigh - uLow + 1) : auHostile[Pick(6)];
            io_slot.values[iParam] = uBits;
            if (param.uChoiceCount && std::strstr(param.pszName, "type"))
                io_slot.bTypeWritten = true;
        } else {
            const float fInf = std::numeric_limits<float>::infinity();
            const float afHostile[] = {std::numeric_limits<float>::quiet_NaN(), fInf, -fInf, 4e9f, -4e9f, 3.4e38f,
                                       -3.4e38f, 0.0f, -0.0f, 1e-40f, -1.0f, -1000.0f,
                                       static_cast<float>(param.fMax * 10.0 + 1.0),
                                       static_cast<float>(param.fMin - 1.0 - std::fabs(param.fMin))};
            const float fValue = bInRange ? Uniform(param.fMin, param.fMax) : afHostile[Pick(14)];
            std::memcpy(&uBits, &fValue, 4);
            io_slot.values[iParam] = fValue;
        }
        if (bInRange) {
            ++counts.uParamsInRange;
        } else {
            ++counts.uParamsHostile;
            io_slot.bParamsInRange = false;
        }
        CheckSlowBlocks(io_slot);
        const QwResult eResult = params.SetParam(param.uId, &uBits, 4);
        io_slot.bSettled = false;
        if (eResult != QW_Success)
            Fail(std::string("SetParam of ") + param.pszName + " returned " + std::to_string(eResult));
    }

    // Every value back in range, by a fresh block of defaults, and the state cleared.
    void Restore(Slot& io_slot)
    {
        if (!ResetClearsState(m_meta.uPluginId) && !io_slot.bStateClean) {
            Rebuild(io_slot);
            return;
        }
        CheckSlowBlocks(io_slot);
        io_slot.pInstance->Params()->Init(&m_allocator, nullptr, 0);
        io_slot.bParamsInRange = true;
        io_slot.bCleanAfterNext = true;
        io_slot.bTypeWritten = true;
        SetDefaults(io_slot);
        Reset(io_slot);
    }

    void Reset(Slot& io_slot)
    {
        if (io_slot.bCleanAfterNext)
            io_slot.bStateClean = false;
        io_slot.pInstance->Effect()->Reset();
        if (ResetClearsState(m_meta.uPluginId) && !io_slot.bCleanAfterNext)
            io_slot.bStateClean = io_slot.bParamsInRange;
        io_slot.bSettled = false;
        ++counts.uResets;
    }

    // Returns false for an input a host should never send (NaN, infinities).
    bool FillInput(Slot& io_slot, uint16_t in_uValid)
    {
        std::vector<float>& block = io_slot.block;
        const uint32_t uKind = Pick(60);
        const float fInf = std::numeric_limits<float>::infinity();
        for (uint32_t c = 0; c < io_slot.pLayout->uChannels; ++c) {
            float* p = block.data() + static_cast<size_t>(c) * io_slot.uMaxFrames;
            for (uint16_t i = 0; i < io_slot.uMaxFrames; ++i) {
                float x = 0.0f;
                if (i < in_uValid) {
                    switch (uKind) {
                    case 0: case 1: x = 0.0f; break;
                    case 2: case 3: x = ((i / 37) & 1) ? 1.0f : -1.0f; break;
                    case 4: x = (i & 1 ? 1.0f : -1.0f) * 1e-39f; break;
                    case 5: x = i == in_uValid / 2 ? std::numeric_limits<float>::quiet_NaN() : 0.1f; break;
                    case 6: x = i == 0 ? (c & 1 ? -fInf : fInf) : 0.0f; break;
                    default: x = Uniform(-1.0, 1.0); break;
                    }
                } else {
                    // Past the valid frames the host's buffer holds whatever it held.
                    x = uKind == 5 ? std::numeric_limits<float>::quiet_NaN() : 123.0f;
                }
                p[i] = x;
            }
        }
        return uKind != 5 && uKind != 6;
    }

    // One Execute; returns the state the effect left.
    uint32_t Execute(Slot& io_slot, uint16_t in_uValid, uint32_t in_eState, bool in_bInputClean)
    {
        QwAudioBuffer buffer = {io_slot.block.data(), io_slot.pLayout->ChannelConfig(), in_eState,
                                io_slot.uMaxFrames, in_uValid};
        const uint64_t uAllocsBefore = m_allocator.AllocCalls();
        const size_t uAssertsBefore = m_session.asserts.Total();
        const bool bCleanBefore = io_slot.bStateClean && io_slot.bParamsInRange && in_bInputClean;
        const QwCpuTimer timer;
        io_slot.pInstance->Effect()->Execute(&buffer);
        const double fSeconds = timer.Seconds();
        ++counts.uBlocks;
        counts.uFrames += in_uValid;
        if (!in_bInputClean) {
            ++counts.uHostileInputs;
            io_slot.bStateClean = false;
        }
        if (m_allocator.AllocCalls() != uAllocsBefore) {
            ++counts.uExecuteAllocs;
            if (m_meta.uPluginId != 6 || !io_slot.bTypeWritten)
                Fail("Execute allocated (" + Describe(io_slot) + ")");
        }
        io_slot.bTypeWritten = false;
        if (buffer.uValidFrames > io_slot.uMaxFrames)
            Fail("Execute returned more valid frames than the block holds");
        size_t uAsserts = m_session.asserts.Total() - uAssertsBefore;
        for (const CalledFor& called : CALLED_FOR) {
            if (uAsserts == 0 || called.uPluginId != m_meta.uPluginId)
                continue;
            const size_t uNow = m_session.asserts.Count(called.pszExpression);
            const size_t uNew = uNow - std::min(uNow, m_calledForSeen[called.pszExpression]);
            m_calledForSeen[called.pszExpression] = uNow;
            if (io_slot.uMaxFrames <= called.uAboveMaxFrames)
                continue;
            counts.uAssertsCalledFor += std::min(uAsserts, uNew);
            uAsserts -= std::min(uAsserts, uNew);
        }
        if (bCleanBefore) {
            ++counts.uCleanBlocks;
            if (uAsserts)
                Fail("an assertion fired with host, input and values in bounds (" + Describe(io_slot) + "): \"" +
                     m_session.asserts.Records().back().sExpression + "\" at " +
                     m_session.asserts.Records().back().sFile + ":" +
                     std::to_string(m_session.asserts.Records().back().iLine));
            for (uint32_t c = 0; c < io_slot.pLayout->uChannels; ++c) {
                const float* p = io_slot.block.data() + static_cast<size_t>(c) * io_slot.uMaxFrames;
                if (!std::all_of(p, p + std::min(buffer.uValidFrames, io_slot.uMaxFrames),
                                 [](float x) { return std::isfinite(x); })) {
                    // The filters' unclipped ladder and formant stages diverge on input above
                    // about 2.4, which a resonant or boosting stage ahead can make of full scale.
                    if (m_meta.uPluginId == 6)
                        ++counts.uDiverged;
                    else
                        Fail("non-finite output from finite input and values in range (" + Describe(io_slot) + ")");
                    io_slot.bStateClean = false;
                    break;
                }
            }
            if (in_uValid == io_slot.uMaxFrames && in_eState == QW_DataReady && io_slot.bSettled) {
                io_slot.times.push_back(fSeconds);
                ++counts.uTimedBlocks;
            }
        } else {
            counts.uAssertsCalledFor += uAsserts;
        }
        io_slot.bSettled = true;
        if (io_slot.bParamsInRange)
            TailLimit(io_slot);
        if (io_slot.bCleanAfterNext) {
            io_slot.bCleanAfterNext = false;
            io_slot.bStateClean = in_bInputClean && ResetClearsState(m_meta.uPluginId);
        }
        return buffer.eState;
    }

    // The end of the stream, the tail rung out in empty blocks, and the stream resumed.
    void EndStream(Slot& io_slot)
    {
        ++counts.uStreamEnds;
        const uint16_t uValid = static_cast<uint16_t>(Pick(io_slot.uMaxFrames + 1u));
        const bool bClean = FillInput(io_slot, uValid);
        uint32_t eState = Execute(io_slot, uValid, QW_InputEnded, bClean);
        const uint64_t uAnnounced = TailLimit(io_slot);
        const uint64_t uGeneral = static_cast<uint64_t>(TAIL_LIMIT_SECONDS * io_slot.uRate);
        const uint64_t uLimit = std::min(uAnnounced, uGeneral);
        uint64_t uTail = 0, uCalls = 0;
        while (eState == QW_DataReady && uTail < uLimit && ++uCalls <= TAIL_BLOCK_LIMIT) {
            FillInput(io_slot, 0);
            eState = Execute(io_slot, 0, QW_InputEnded, true);
            uTail += io_slot.uMaxFrames;
        }
        counts.uTailFrames += uTail;
        if (eState == QW_DataReady && io_slot.bParamsInRange && uLimit == uAnnounced && uTail >= uLimit)
            Fail("tail still ringing after " + std::to_string(uTail) + " frames with values in range (" +
                 Describe(io_slot) + ")");
        if (eState == QW_DataReady)
            ++counts.uTailsCut;
    }

    void Step(Slot& io_slot)
    {
        const double fWhat = Uniform(0.0, 1.0);
        if (fWhat < 0.15) {
            WriteParam(io_slot);
        } else if (fWhat < 0.165) {
            Reset(io_slot);
        } else if (fWhat < 0.175) {
            ++counts.uTimeSkips;
            const QwResult eResult = io_slot.pInstance->Effect()->TimeSkip(static_cast<uint32_t>(m_rng()));
            if (eResult != QW_DataReady)
                Fail("TimeSkip returned " + std::to_string(eResult));
        } else if (fWhat < 0.18) {
            EndStream(io_slot);
        } else if (fWhat < 0.2) {
            Restore(io_slot);
        } else {
            // Lengths from 0 to the largest, with both ends well represented.
            const uint32_t uDraw = Pick(10);
            const uint16_t uValid = uDraw == 0   ? 0
                                    : uDraw < 4 ? io_slot.uMaxFrames
                                                : static_cast<uint16_t>(Pick(io_slot.uMaxFrames + 1u));
            const bool bClean = FillInput(io_slot, uValid);
            Execute(io_slot, uValid, QW_DataReady, bClean);
        }
    }

    // The blocks timed under one set of values on one instance, against their median.
    void CheckSlowBlocks(Slot& io_slot)
    {
        const std::vector<double>& times = io_slot.times;
        if (times.size() >= 20) {
            std::vector<double> sorted = times;
            std::nth_element(sorted.begin(), sorted.begin() + sorted.size() / 2, sorted.end());
            const double fMedian = sorted[sorted.size() / 2];
            const size_t uSlow = std::count_if(times.begin(), times.end(),
                                               [&](double t) {
                                                   return t > SLOW_FACTOR * fMedian && t > SLOW_FLOOR_SECONDS;
                                               });
            counts.uSlowBlocks += uSlow;
            if (uSlow > std::max<size_t>(2, times.size() / 200))
                Fail(std::to_string(uSlow) + " of " + std::to_string(times.size()) +
                     " blocks took over 20 x their median of " + std::to_string(fMedian * 1e6) + " us (" +
                     Describe(io_slot) + ")");
        }
        io_slot.times.clear();
    }

    QwfxSession& m_session;
    const QwPluginRegistration& m_record;
    const QwEffectMeta& m_meta;
    std::mt19937 m_rng;
    QwHostAllocator m_allocator;
    Slot m_slots[INSTANCES];
    std::map<std::string, size_t> m_calledForSeen;
};

} // namespace

int QwfxStress(const QwfxArgs& in_args)
{
    std::string sSeconds = "10", sSeedText = "1", sError;
    std::vector<std::string> positional;
    for (size_t i = 0; i < in_args.args.size() && sError.empty(); ++i) {
        if (QwfxTakeOption(in_args.args, i, "--seconds", sSeconds, sError) ||
            QwfxTakeOption(in_args.args, i, "--seed", sSeedText, sError))
            continue;
        if (in_args.args[i].size() > 1 && in_args.args[i][0] == '-')
            sError = "unknown option '" + in_args.args[i] + "' for stress";
        else
            positional.push_back(in_args.args[i]);
    }
    if (sError.empty() && positional.size() > 1)
        sError = "usage: qwfx stress [EFFECT] [--seconds S] [--seed N]";
    if (!sError.empty())
        return QwfxError(QWFX_USAGE, sError);
    char* pEnd = nullptr;
    const double fSeconds = std::strtod(sSeconds.c_str(), &pEnd);
    if (sSeconds.empty() || *pEnd != '\0' || !std::isfinite(fSeconds) || fSeconds <= 0.0 || fSeconds > 1e6)
        return QwfxError(QWFX_USAGE, "bad --seconds '" + sSeconds + "': expected a number of seconds above 0");
    long sSeed = 0;
    if (!QwfxParseWhole(sSeedText, 0, 0xFFFFFFFFL, sSeed))
        return QwfxError(QWFX_USAGE, "bad --seed '" + sSeedText + "': expected a whole number from 0 to 4294967295");
    std::vector<const QwEffectMeta*> effects = QwAllEffectMeta();
    if (!positional.empty()) {
        const QwEffectMeta* pMeta = QwFindEffectMeta(positional[0].c_str());
        if (!pMeta)
            return QwfxError(QWFX_USAGE,
                             "unknown effect '" + positional[0] + "' (known: " + QwAllShortNames() + ")");
        effects.assign(1, pMeta);
    }

    QwfxSession session;
    if (!session.Open(in_args.sModulePath))
        return QWFX_FAILED;
    size_t uFailures = 0;
    std::printf("%-21s %5s %7s %9s %6s %6s %7s %6s %5s %5s %4s %5s %7s %6s %6s %4s %4s %8s\n", "effect",
                "inits", "blocks", "frames", "clean%", "param", "hostile", "resets", "skips", "ends", "cut", "badin",
                "asserts", "allocs", "timed", "slow", "div", "failures");
    for (const QwEffectMeta* pMeta : effects) {
        const QwPluginRegistration* pRecord = session.module.Find(pMeta->uPluginId);
        if (!pRecord)
            return QwfxError(QWFX_FAILED, std::string("effect '") + pMeta->pszShortName + "' is not registered in " +
                                              session.module.Path());
        Stresser stresser(session, *pRecord, *pMeta, static_cast<uint32_t>(sSeed) ^ pMeta->uPluginId);
        stresser.Run(fSeconds);
        const StressCounts& n = stresser.counts;
        std::printf("%-21s %5llu %7llu %9llu %5.1f%% %6llu %7llu %6llu %5llu %5llu %4llu %5llu %7llu %6llu %6llu %4llu %4llu %8zu\n",
                    pMeta->pszShortName, (unsigned long long)n.uInits, (unsigned long long)n.uBlocks,
                    (unsigned long long)n.uFrames, n.uBlocks ? 100.0 * n.uCleanBlocks / n.uBlocks : 0.0,
                    (unsigned long long)n.uParamsInRange, (unsigned long long)n.uParamsHostile,
                    (unsigned long long)n.uResets, (unsigned long long)n.uTimeSkips,
                    (unsigned long long)n.uStreamEnds, (unsigned long long)n.uTailsCut,
                    (unsigned long long)n.uHostileInputs,
                    (unsigned long long)n.uAssertsCalledFor, (unsigned long long)n.uExecuteAllocs,
                    (unsigned long long)n.uTimedBlocks, (unsigned long long)n.uSlowBlocks, (unsigned long long)n.uDiverged,
                    n.failures.size());
        for (size_t i = 0; i < n.failures.size() && i < FAILURES_SHOWN; ++i)
            std::fprintf(stderr, "qwfx: stress: %s\n", n.failures[i].c_str());
        uFailures += n.failures.size();
    }
    std::fflush(stdout);
    if (uFailures)
        return QwfxError(QWFX_FAILED, "stress: " + std::to_string(uFailures) + " failures");
    return QWFX_OK;
}
