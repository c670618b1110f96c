// Holds the box modeler's one engine for all channels and keeps its memory free of denormals:
// a tiny offset that turns sign every 128 samples goes in before and after the convolution.
#pragma once
#include <cstdint>
#include "kvbase/common/common_smart_ptr.h"
#include "kvbase/common/common_vector.h"
#include "shareddsp/convolve/boxmodeler_dsp.h"

class SkrelBoxModelerImpl
{
public:
    enum : uint32_t {
        INT_MODEL = 0,
        INT_MODE = 1,
        FLOAT_FIRST = 2, // float parameters 2 to 6 are the engine's 0 to 4
        FLOAT_LAST = 6,
        MAX_BLOCK_FRAMES = 1024,
    };

    SkrelBoxModelerImpl(float in_fSampleRate, uint32_t in_uChannels, uint32_t in_uBlockFrames, const char* in_pszName,
                        bool in_bInterleaved);

    bool SetMedia(uint32_t in_uSize, const uint8_t* in_pData);
    bool SetIntParam(uint32_t in_uIndex, uint32_t in_uValue);
    bool SetFloatParam(uint32_t in_uIndex, float in_fValue);
    uint32_t GetTailFrames() const;
    uint32_t GetMaxBlockFrames() const { return MAX_BLOCK_FRAMES; }
    void Reset();

    void Process(uint32_t in_uFrames, float** io_ppChannels);
    void ProcessInterleaved(uint32_t in_uSamples, float* io_pBuffer);

    BoxModelerDsp& Engine() const { return *m_pBoxModeler.get(); }
    uint32_t NumChannels() const { return m_uNumChannels; }
    uint32_t BlockFrames() const { return m_uBlockFrames; }

private:
    common_smart_ptr<BoxModelerDsp> m_pBoxModeler;
    uint32_t m_uNumChannels;
    uint32_t m_uBlockFrames;
    bool m_bInterleaved;
    common_vector<common_aligned_vector<float>> m_scratchChannels;
    common_vector<float*> m_scratchPointers;
};
