// A multichannel convolver made of one-channel zero-latency convolvers, loaded from a set of
// tap arrays; array c modulo the array count serves channel c.
#pragma once
#include <cstdint>
#include "kvbase/common/common_smart_ptr.h"
#include "kvbase/common/common_vector.h"
#include "kvdspbase/dsp/partconvnolock.h"

class KvMuConvolution
{
public:
    // The third argument is not used.
    KvMuConvolution(uint32_t in_uMaxTaps, uint32_t in_uNumChannels, uint32_t in_uUnused, uint32_t in_uBlockOrder);

    // Allocates only the staging copy; clears all signal state.
    void SetTaps(uint32_t in_uNumTapArrays, uint32_t in_uNumTaps, const float* const* in_ppTaps);
    // Passes the signal through unchanged until taps have been loaded.
    void Process(uint32_t in_uSamples, float* const* io_ppChannels);
    // Process of this object and of io_twin on the same input (io_ppChannels and io_ppTwinChannels
    // hold equal samples on entry), each input transform made once for both. Same results as two
    // Process calls.
    void ProcessBeside(uint32_t in_uSamples, float* const* io_ppChannels, KvMuConvolution& io_twin,
                       float* const* io_ppTwinChannels);
    void Reset();

    bool TapsLoaded() const { return m_bTapsLoaded; }

private:
    common_vector<common_smart_ptr<PartConvNoLock>> m_apConvolvers;
    common_aligned_vector<float> m_pTaps;
    uint32_t m_uNumChannels;
    uint32_t m_uNumTapArrays = 0;
    bool m_bTapsLoaded = false;
};
