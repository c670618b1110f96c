#include "kvdspbase/dsp/datatail.h"
#include <cstring>
#include "host/qwassert.h"
#include "kvbase/common/common_cast.h"
#include "kvdspbase/dsp/datatailcopy.h"

DataTail::DataTail(const DataTail& in_other)
{
    *this = in_other;
}

DataTail& DataTail::operator=(const DataTail& in_other)
{
    if (this == &in_other)
        return *this;
    Init(in_other.m_sNumChannels, in_other.m_sChannelStride, in_other.m_sMaxBlockSize, in_other.m_sTail, false);
    m_sTotal = 0;
    const int32_t sValid = in_other.m_sTotal;
    if (sValid <= 0)
        return *this;
    if (in_other.StoredChannels() == StoredChannels()) {
        Append(in_other.m_apfChannel.data(), static_cast<uint32_t>(sValid), 0);
    } else {
        // One side has no storage: only the count can be copied.
        m_sTotal = sValid < Size() ? sValid : Size();
    }
    return *this;
}

void DataTail::Init(int32_t sNumChannels, int32_t sChannelStride, int32_t sMaxBlock, int32_t sTailSize, bool bPrime)
{
    QW_ASSERT_TEXT(sTailSize >= 0 && sMaxBlock >= 0 && sTailSize + sMaxBlock >= 0,
                   "sTailSize>=0 && sMaxBlock>=0 && sTailSize+sMaxBlock>=0");
    m_sNumChannels = sNumChannels;
    m_sChannelStride = sChannelStride;
    m_sMaxBlockSize = sMaxBlock;
    m_sTail = sTailSize;
    const int64_t sSize = static_cast<int64_t>(sMaxBlock) + sTailSize;
    const uint32_t uSize = sSize > 0 && sSize <= INT32_MAX ? static_cast<uint32_t>(sSize) : 0;
    const uint32_t uChannels = sNumChannels > 0 ? static_cast<uint32_t>(sNumChannels) : 0;

    // Cleared first, so that growing the outer vector never copies old channel data.
    m_apfChannel.clear();
    m_aafData.clear();
    m_aafData.resize(uChannels);
    bool bComplete = m_aafData.size() == uChannels;
    for (uint32_t c = 0; bComplete && c < uChannels; ++c) {
        m_aafData[c].resize(uSize, 0.0f);
        bComplete = m_aafData[c].size() == uSize;
    }
    m_apfChannel.resize(uChannels, nullptr);
    m_apfScratch.clear();
    m_apfScratch.resize(uChannels, nullptr);
    if (!bComplete || m_apfChannel.size() != uChannels || m_apfScratch.size() != uChannels) {
        // Out of memory: no channel has storage, rather than some short ones.
        m_apfChannel.clear();
        m_aafData.clear();
    }
    for (uint32_t c = 0; c < m_apfChannel.size(); ++c) {
        m_apfChannel[c] = m_aafData[c].data();
        if (uSize)
            std::memset(m_apfChannel[c], 0, uSize * sizeof(float));
    }
    if (bPrime)
        Prime();
}

void DataTail::Prime()
{
    m_sTotal = m_sTail;
    for (uint32_t c = 0; c < StoredChannels(); ++c)
        if (!m_aafData[c].empty())
            std::memset(m_apfChannel[c], 0, m_aafData[c].size() * sizeof(float));
}

void DataTail::Append(const float* const* in_ppSources, uint32_t nSamples, uint32_t uSourceOffset)
{
    if (nSamples == 0)
        return;
    QW_ASSERT_TEXT(static_cast<unsigned>(m_sTotal) + nSamples <= static_cast<unsigned>(m_sMaxBlockSize + m_sTail),
                   "static_cast<unsigned>(m_sTotal)+nSamples <= static_cast<unsigned>(m_sMaxBlockSize+m_sTail)");
    const int64_t sSize = Size();
    for (uint32_t c = 0; c < StoredChannels(); ++c)
        DataTailWrite(m_apfChannel[c], sSize, m_sTotal, in_ppSources[c] + uSourceOffset, nSamples);
    // A reported overrun stops at the end of the storage.
    const int64_t sTotal = static_cast<int64_t>(m_sTotal) + nSamples;
    if (sTotal <= sSize)
        m_sTotal = static_cast<int32_t>(sTotal);
    else if (m_sTotal < sSize)
        m_sTotal = static_cast<int32_t>(sSize);
}

void DataTail::AppendWrapping(const float* const* in_ppSources, uint32_t nSamples, uint32_t uSourceOffset)
{
    const int32_t sSize = Size();
    if (nSamples == 0 || sSize <= 0)
        return;
    if (nSamples > static_cast<uint32_t>(sSize)) {
        uSourceOffset += nSamples - static_cast<uint32_t>(sSize);
        nSamples = static_cast<uint32_t>(sSize);
    }
    QW_ASSERT_TEXT(nSamples <= static_cast<unsigned>(m_sMaxBlockSize + m_sTail),
                   "nSamples <= static_cast<unsigned>(m_sMaxBlockSize+m_sTail)");
    const int32_t n = static_cast<int32_t>(nSamples);
    if (m_sTotal + n <= sSize) {
        Append(in_ppSources, nSamples, uSourceOffset);
        return;
    }
    const int32_t sFirst = sSize - m_sTotal;
    for (uint32_t c = 0; c < StoredChannels(); ++c) {
        const float* pSource = in_ppSources[c] + uSourceOffset;
        DataTailWrite(m_apfChannel[c], sSize, m_sTotal, pSource, sFirst);
        DataTailWrite(m_apfChannel[c], sSize, 0, pSource + sFirst, n - sFirst);
    }
    m_sTotal = n - sFirst;
}

void DataTail::ReadWrapped(float* const* out_ppDest, uint32_t nSamples, int32_t sOffset, int32_t sChannel,
                           uint32_t uDestOffset) const
{
    QW_ASSERT_TEXT(nSamples <= static_cast<unsigned>(m_sMaxBlockSize + m_sTail),
                   "nSamples <= static_cast<unsigned>(m_sMaxBlockSize+m_sTail)");
    QW_ASSERT(sChannel >= -1 && sChannel < m_sNumChannels);
    const int32_t sSize = Size();
    if (nSamples == 0 || sSize <= 0 || sChannel < -1 || sChannel >= static_cast<int32_t>(StoredChannels()))
        return;
    const int64_t n = nSamples < static_cast<uint32_t>(sSize) ? nSamples : sSize;
    const int64_t sPos = DataTailRingPosition(m_sTotal, sOffset, sSize);
    if (sChannel >= 0) {
        DataTailReadRing(m_apfChannel[static_cast<uint32_t>(sChannel)], sSize, sPos, out_ppDest[0] + uDestOffset, n);
        return;
    }
    for (uint32_t c = 0; c < StoredChannels(); ++c)
        DataTailReadRing(m_apfChannel[c], sSize, sPos, out_ppDest[c] + uDestOffset, n);
}

void DataTail::Consume(uint32_t nSamples)
{
    if (nSamples == 0 || m_sTotal <= 0)
        return;
    if (nSamples > static_cast<uint32_t>(m_sTotal)) {
        QW_ASSERT_TEXT(false, "false");
        nSamples = static_cast<uint32_t>(m_sTotal);
    }
    const int32_t n = static_cast<int32_t>(nSamples);
    const int32_t sRest = m_sTotal - n;
    for (uint32_t c = 0; sRest > 0 && c < StoredChannels(); ++c)
        std::memmove(m_apfChannel[c], m_apfChannel[c] + n, static_cast<size_t>(sRest) * sizeof(float));
    m_sTotal = sRest;
    CheckRange();
}

void DataTail::Advance(uint32_t nSamples)
{
    if (nSamples == 0)
        return;
    const int64_t n = nSamples;
    const int64_t sSize = Size();
    int64_t sKeep = m_sTail;
    if (m_sTail + n > m_sTotal)
        sKeep = m_sTotal - n;
    if (sKeep + n > sSize)
        sKeep = sSize - n;
    for (uint32_t c = 0; sKeep > 0 && c < StoredChannels(); ++c)
        std::memmove(m_apfChannel[c], m_apfChannel[c] + n, static_cast<size_t>(sKeep) * sizeof(float));
    // A negative count (more dropped than was present) is kept and reported.
    m_sTotal = static_cast<int32_t>(sKeep < INT32_MIN ? INT32_MIN : sKeep);
    CheckRange();
}

int32_t DataTail::GetTotal() const
{
    QW_ASSERT_TEXT(m_sTotal <= static_cast<int32_t>(GetTotalSize()), "m_sTotal<=signed(GetTotalSize())");
    return m_sTotal;
}

void DataTail::SetTotal(int32_t sTotal)
{
    QW_ASSERT_TEXT(sTotal <= static_cast<int32_t>(GetTotalSize()), "sTotal<=GetTotalSize()");
    const int32_t sSize = Size() > 0 ? Size() : 0;
    m_sTotal = sTotal < 0 ? 0 : (sTotal > sSize ? sSize : sTotal);
}

void DataTail::SetTail(int32_t sNewTail)
{
    const int32_t sOldTail = m_sTail;
    const uint32_t uChannels = StoredChannels();
    const int32_t sValid = m_sTotal < 0 ? 0 : (m_sTotal < Size() ? m_sTotal : Size());
    const uint32_t uValid = static_cast<uint32_t>(sValid);
    common_vector<float> afSaved;
    afSaved.resize(uChannels * uValid, 0.0f);
    const bool bSaved = afSaved.size() == uChannels * uValid;
    for (uint32_t c = 0; bSaved && uValid && c < uChannels; ++c)
        std::memcpy(afSaved.data() + c * uValid, m_apfChannel[c], uValid * sizeof(float));

    Init(m_sNumChannels, m_sChannelStride, m_sMaxBlockSize, sNewTail, true);
    if (!bSaved || StoredChannels() != uChannels || uValid == 0)
        return;
    for (uint32_t c = 0; c < uChannels; ++c)
        m_apfScratch[c] = afSaved.data() + c * uValid;
    const int32_t sSize = Size();
    const int32_t sKeep = sValid < sSize ? sValid : sSize;
    const uint32_t uSkip = static_cast<uint32_t>(sValid - sKeep);
    if (sNewTail <= sOldTail || sKeep > sNewTail) {
        // Everything kept fits from the start: the newest samples, appended.
        m_sTotal = 0;
        Append(m_apfScratch.data(), static_cast<uint32_t>(sKeep), uSkip);
    } else {
        // A longer tail: the old data ends where the new tail ends, silence before it.
        for (uint32_t c = 0; c < uChannels; ++c)
            std::memcpy(m_apfChannel[c] + (sNewTail - sKeep), m_apfScratch[c] + uSkip, static_cast<size_t>(sKeep) * sizeof(float));
    }
    for (uint32_t c = 0; c < uChannels; ++c)
        m_apfScratch[c] = nullptr;
}

void DataTail::CheckRange() const
{
    QW_ASSERT_TEXT(m_sTotal >= 0 && m_sTotal <= implicit_cast<signed>(GetTotalSize()),
                   "m_sTotal >= 0 && m_sTotal <= implicit_cast<signed>(GetTotalSize())");
}
