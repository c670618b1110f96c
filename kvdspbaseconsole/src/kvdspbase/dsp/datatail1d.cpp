#include "kvdspbase/dsp/datatail1d.h"
#include <cstring>
#include "host/qwassert.h"
#include "kvbase/common/common_cast.h"
#include "kvdspbase/dsp/datatailcopy.h"

DataTail1D::DataTail1D(const DataTail1D& in_other)
{
    *this = in_other;
}

DataTail1D& DataTail1D::operator=(const DataTail1D& in_other)
{
    if (this == &in_other)
        return *this;
    Init(in_other.m_sMaxBlockSize, in_other.m_sTail, false);
    m_sTotal = 0;
    if (in_other.Capacity() >= in_other.m_sTotal)
        Append(in_other.GetData(), in_other.m_sTotal, 0);
    else
        m_sTotal = in_other.m_sTotal; // the source has no storage: counts only
    return *this;
}

void DataTail1D::Init(int32_t sMaxBlockSize, int32_t sTailSize, bool bPrime)
{
    // Deliberately checks the block size held so far, before the new one is stored: callers
    // re-initialise in place and rely on the report coming from the earlier set-up.
    QW_ASSERT_TEXT(sTailSize >= 0 && m_sMaxBlockSize >= 0 && sTailSize + m_sMaxBlockSize >= 0,
                   "sTailSize>=0 && m_sMaxBlockSize>=0 && sTailSize+m_sMaxBlockSize>=0");
    m_sMaxBlockSize = sMaxBlockSize;
    m_sTail = sTailSize;
    const int64_t sSize = static_cast<int64_t>(sMaxBlockSize) + sTailSize;
    const uint32_t uSize = sSize > 0 && sSize <= INT32_MAX ? static_cast<uint32_t>(sSize) : 0;
    m_afData.resize(uSize, 0.0f);
    if (m_afData.size() != uSize)
        m_afData.clear(); // out of memory: no storage rather than a short one
    if (!m_afData.empty())
        std::memset(m_afData.data(), 0, m_afData.size() * sizeof(float));
    if (bPrime)
        Prime();
}

void DataTail1D::Prime()
{
    m_sTotal = m_sTail;
    if (!m_afData.empty())
        std::memset(m_afData.data(), 0, m_afData.size() * sizeof(float));
}

void DataTail1D::Append(const float* in_pSource, int32_t nSamples, int32_t sSourceOffset)
{
    if (nSamples <= 0)
        return;
    QW_ASSERT_TEXT(m_sTotal + nSamples <= m_sMaxBlockSize + m_sTail, "m_sTotal+nSamples <= m_sMaxBlockSize+m_sTail");
    if (!m_afData.empty())
        DataTailWrite(m_afData.data(), Capacity(), m_sTotal, in_pSource + sSourceOffset, nSamples);
    // A reported overrun stops at the end of the storage.
    const int64_t sTotal = static_cast<int64_t>(m_sTotal) + nSamples;
    const int64_t sSize = static_cast<int64_t>(m_sMaxBlockSize) + m_sTail;
    if (sTotal <= sSize)
        m_sTotal = static_cast<int32_t>(sTotal);
    else if (m_sTotal < sSize)
        m_sTotal = static_cast<int32_t>(sSize);
}

void DataTail1D::AppendWrapping(const float* in_pSource, int32_t nSamples, int32_t sSourceOffset)
{
    const int32_t sSize = m_sMaxBlockSize + m_sTail;
    if (nSamples <= 0 || sSize <= 0)
        return;
    if (nSamples > sSize) {
        sSourceOffset += nSamples - sSize;
        nSamples = sSize;
    }
    QW_ASSERT_TEXT(static_cast<unsigned>(nSamples) <= static_cast<unsigned>(m_sMaxBlockSize + m_sTail),
                   "nSamples <= static_cast<unsigned>(m_sMaxBlockSize+m_sTail)");
    if (m_sTotal + nSamples <= sSize) {
        Append(in_pSource, nSamples, sSourceOffset);
        return;
    }
    const int32_t sFirst = sSize - m_sTotal;
    if (!m_afData.empty()) {
        DataTailWrite(m_afData.data(), Capacity(), m_sTotal, in_pSource + sSourceOffset, sFirst);
        DataTailWrite(m_afData.data(), Capacity(), 0, in_pSource + sSourceOffset + sFirst, nSamples - sFirst);
    }
    m_sTotal = nSamples - sFirst;
}

void DataTail1D::ReadWrapped(float* out_pDest, int32_t nSamples, int32_t sOffset, int32_t sDestOffset) const
{
    QW_ASSERT_TEXT(static_cast<unsigned>(nSamples) <= static_cast<unsigned>(m_sMaxBlockSize + m_sTail),
                   "nSamples <= static_cast<unsigned>(m_sMaxBlockSize+m_sTail)");
    const int32_t sSize = Capacity();
    if (nSamples <= 0 || sSize <= 0)
        return;
    const int64_t sPos = DataTailRingPosition(m_sTotal, sOffset, sSize);
    DataTailReadRing(m_afData.data(), sSize, sPos, out_pDest + sDestOffset, nSamples < sSize ? nSamples : sSize);
}

void DataTail1D::Consume(int32_t nSamples)
{
    if (nSamples <= 0 || m_sTotal <= 0)
        return;
    if (nSamples > m_sTotal) {
        QW_ASSERT_TEXT(false, "false");
        nSamples = m_sTotal;
    }
    const int32_t sRest = m_sTotal - nSamples;
    if (sRest > 0 && m_sTotal <= Capacity())
        std::memmove(m_afData.data(), m_afData.data() + nSamples, static_cast<size_t>(sRest) * sizeof(float));
    m_sTotal = sRest;
    CheckRange();
}

void DataTail1D::Advance(int32_t nSamples)
{
    if (nSamples <= 0)
        return;
    const int32_t sSize = m_sMaxBlockSize + m_sTail;
    int32_t sKeep = m_sTail;
    if (m_sTail + nSamples > m_sTotal)
        sKeep = m_sTotal - nSamples;
    if (sKeep + nSamples > sSize)
        sKeep = sSize - nSamples;
    if (sKeep > 0 && sKeep + nSamples <= Capacity())
        std::memmove(m_afData.data(), m_afData.data() + nSamples, static_cast<size_t>(sKeep) * sizeof(float));
    // A negative count (more dropped than was present) is kept and reported.
    m_sTotal = sKeep;
    CheckRange();
}

int32_t DataTail1D::GetTotal() const
{
    QW_ASSERT_TEXT(m_sTotal <= static_cast<int32_t>(GetTotalSize()), "m_sTotal<=signed(GetTotalSize())");
    return m_sTotal;
}

void DataTail1D::SetMaxBlockSize(int32_t sNewMaxBlockSize)
{
    QW_ASSERT_TEXT(sNewMaxBlockSize >= 0, "sNewMaxBlockSize>=0");
    const int32_t sBlock = m_sTail + sNewMaxBlockSize >= 1 ? sNewMaxBlockSize : 1;
    if (m_sTail == 0) {
        Init(sBlock, 0, true);
        return;
    }
    const int32_t sValid = m_sTotal < 0 ? 0 : (m_sTotal < Capacity() ? m_sTotal : Capacity());
    common_vector<float> afSaved;
    afSaved.resize(static_cast<uint32_t>(sValid), 0.0f);
    const bool bSaved = afSaved.size() == static_cast<uint32_t>(sValid);
    if (bSaved && sValid > 0)
        std::memcpy(afSaved.data(), m_afData.data(), static_cast<size_t>(sValid) * sizeof(float));
    Init(sBlock, m_sTail, false);
    const int32_t sSize = Capacity();
    const int32_t sKeep = sValid < sSize ? sValid : sSize;
    if (bSaved && sKeep > 0)
        std::memcpy(m_afData.data(), afSaved.data() + (sValid - sKeep), static_cast<size_t>(sKeep) * sizeof(float));
    m_sTotal = sKeep;
}

void DataTail1D::CheckRange() const
{
    QW_ASSERT_TEXT(m_sTotal >= 0 && m_sTotal <= implicit_cast<signed>(GetTotalSize()),
                   "m_sTotal >= 0 && m_sTotal <= implicit_cast<signed>(GetTotalSize())");
}
