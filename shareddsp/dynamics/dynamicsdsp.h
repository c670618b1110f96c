// Per-channel compressor and downward expander with an instantaneous peak detector and make-up
// gain, computed and applied sample by sample. Four independent stages; no allocation after
// construction.
#pragma once
#include <cstdint>
#include "kvbase/common/common_vector.h"
#include "shareddsp/dynamics/dynamicsstage.h"

class DynamicsDsp
{
public:
    enum : uint32_t {
        NUM_STAGES = 4,
        NUM_PARAMETERS = 9,
        MAX_LANES = 4,
    };
    // Parameter indices of a stage.
    enum : uint32_t {
        COMP_THRESHOLD_DB = 0,
        COMP_RATIO = 1,
        COMP_ATTACK_MS = 2,
        COMP_RELEASE_MS = 3,
        EXP_THRESHOLD_DB = 4,
        EXP_RATIO = 5,
        EXP_ATTACK_MS = 6,
        EXP_RELEASE_MS = 7,
        OUTPUT_GAIN_DB = 8,
    };

    // Allocates the four stages; on failure the sticky out-of-memory flag tells.
    explicit DynamicsDsp(float in_fSampleRate);

    // An index above 8 is ignored.
    void SetParameter(uint32_t in_uStage, uint32_t in_uIndex, float in_fValue);
    // An index above 8 reads -401.
    float GetParameter(uint32_t in_uStage, uint32_t in_uIndex) const;

    void Process(uint32_t in_uStage, uint32_t in_uSamples, float* io_pSamples);
    // Process of the same stage on in_uLanes engines, each over its own samples, with the same
    // results; up to MAX_LANES of them run side by side in one vector loop, one engine a lane,
    // which hides the latency of each engine's sample-to-sample gain chain.
    static void ProcessLanes(uint32_t in_uStage, uint32_t in_uLanes, DynamicsDsp* const* in_ppDsp,
                             uint32_t in_uSamples, float* const* io_ppSamples);

    // Recomputes only the compressor's time constants; the expander keeps those of the old rate.
    void SetSampleRate(float in_fSampleRate);
    float GetSampleRate() const { return m_fSampleRate; }

    // Meters: each read restarts the measurement.
    float GetPeak(uint32_t in_uStage);
    float GetGainReduction(uint32_t in_uStage);

    // Gains back to 1, meters and denormal guards restarted; parameters kept.
    void Reset();

    const DynamicsStage& GetStage(uint32_t in_uStage) const { return m_stages[in_uStage]; }

private:
#if defined(__x86_64__)
    static void ProcessFourLanes(uint32_t in_uStage, uint32_t in_uLanes, DynamicsDsp* const* in_ppDsp,
                                 uint32_t in_uSamples, float* const* io_ppSamples);
#endif

    float m_fSampleRate;
    [[maybe_unused]] bool m_bFlag = false; // carried in the record; nothing reads it
    common_vector<DynamicsStage> m_stages;
};
