// What IirFilter and IirFilterFast share: the taps, the primitive's state and its tuning. T is
// the precision of the taps and the recursion (double or float).
#pragma once
#include <cstdint>
#include "host/qwassert.h"
#include "kvbase/common/common_allocator.h"
#include "kvbase/common/common_vector.h"
#include "kvbase/ipp/ipp_filtering_ref.h"
#include "kvdspbase/dsp/filtercoeffs.h"

template <class T>
class IirFilterBase
{
public:
    IirFilterBase(const IirFilterBase&) = delete;
    IirFilterBase& operator=(const IirFilterBase&) = delete;

    // Loads new taps (null: the pass-through defaults), normalising each section by its a0.
    // The delay line survives unless bKeepState is false, so a sweep does not click.
    void SetTaps(const T* pTaps, bool bKeepState)
    {
        if (!m_pState) {
            QW_ASSERT(false);
            return;
        }
        if (pTaps) {
            T* pDst = m_Taps.data();
            for (uint32_t i = 0; i < m_Taps.size(); ++i)
                pDst[i] = pTaps[i];
        } else {
            WriteDefaults();
        }
        // A section with a vanishing a0 is reported and skipped without advancing, so the
        // following sections are tested against the same a0. Designs always give a0 = 1; this
        // is a guard only.
        const uint32_t uStride = 2 * (m_uOrder + 1);
        uint32_t uPos = 0;
        for (uint32_t s = 0; s < m_uNumBiquads; ++s) {
            const T a0 = m_Taps[uPos + m_uOrder + 1];
            if (a0 >= T(1e-12)) {
                const T tScale = T(1) / a0;
                for (uint32_t j = 0; j < uStride; ++j)
                    m_Taps[uPos + j] *= tScale;
                uPos += uStride;
            } else {
                QW_ASSERT(false);
            }
        }
        ippsIIRSetTaps(m_Taps.data(), m_pState);
        if (!bKeepState)
            ippsIIRSetDlyLine(m_pState, static_cast<const T*>(nullptr));
    }

    void GetTaps(common_vector<T>& out_taps) const
    {
        if (out_taps.size() != m_Taps.size()) {
            QW_ASSERT(false);
            return;
        }
        for (uint32_t i = 0; i < m_Taps.size(); ++i)
            out_taps[i] = m_Taps[i];
    }

    void Reset() { ippsIIRSetDlyLine(m_pState, static_cast<const T*>(nullptr)); }

    bool HasState() const { return m_pState != nullptr; }
    uint32_t Order() const { return m_uOrder; }
    uint32_t NumBiquads() const { return m_uNumBiquads; }

    // All-pass biquads (order 2, uNumSections of them) whose group delay follows pDelay, in
    // samples over uNumBins bins up to half the rate; written into the caller's taps.
    static void DesignGroupDelayAllPass(T* pTaps, const T* pDelay, uint32_t uNumBins, uint32_t uNumSections)
    {
        ::DesignGroupDelayAllPass(pTaps, pDelay, uNumBins, uNumSections);
    }

protected:
    // uNumBiquads 1 builds a direct form of order uOrder; any other count a biquad cascade,
    // which needs uOrder 2. Allocates.
    IirFilterBase(uint32_t uOrder, const T* pTaps, uint32_t uNumBiquads)
        : m_pState(nullptr), m_uOrder(uOrder), m_uNumBiquads(uNumBiquads)
    {
        const uint32_t uNumTaps = (uOrder + 1) * uNumBiquads * 2;
        m_Taps.resize(uNumTaps);
        if (IsOutOfMemory() || m_Taps.size() != uNumTaps)
            return;
        if (pTaps) {
            for (uint32_t i = 0; i < uNumTaps; ++i)
                m_Taps[i] = pTaps[i];
        } else {
            WriteDefaults();
        }
        if (uOrder == 0) {
            QW_ASSERT(false);
            return;
        }
        if (uNumBiquads != 1) {
            if (uOrder != 2) {
                QW_ASSERT(false);
                return;
            }
            ippsIIRInit_BiQuad_32f(&m_pState, m_Taps.data(), uNumBiquads, static_cast<const T*>(nullptr));
            return;
        }
        InitDirect(&m_pState, m_Taps.data(), uOrder);
    }

    ~IirFilterBase() { ippsIIRFree(m_pState); }

    QwIppIirState<T>* m_pState;
    uint32_t m_uOrder;
    uint32_t m_uNumBiquads;
    common_vector<T> m_Taps;

private:
    // b0 = a0 = 1 in every section: a pass-through.
    void WriteDefaults()
    {
        const uint32_t uStride = 2 * (m_uOrder + 1);
        for (uint32_t i = 0; i < m_Taps.size(); ++i)
            m_Taps[i] = (i % uStride == 0 || i % uStride == m_uOrder + 1) ? T(1) : T(0);
    }

    static void InitDirect(QwIppIirState64f** ppState, const double* pTaps, uint32_t uOrder)
    {
        ippsIIRInit64f_32f(ppState, pTaps, uOrder, nullptr);
    }
    static void InitDirect(QwIppIirState32f** ppState, const float* pTaps, uint32_t uOrder)
    {
        ippsIIRInit_32f(ppState, pTaps, uOrder, nullptr);
    }
};
