#include "kvdspbase/dsp/filtercoeffs.h"
#include <cmath>
#include "host/qwassert.h"
#include "kvdspbase/dsp/analogprototype.h"

namespace
{
const double kPi = 3.14159265358979323846;

template <class T>
void PassThrough(T* coeffs)
{
    coeffs[0] = T(1);
    coeffs[1] = T(0);
    coeffs[2] = T(0);
    coeffs[3] = T(1);
    coeffs[4] = T(0);
    coeffs[5] = T(0);
}

// Low-pass and high-pass work in double whatever the storage; the raw a0 is rounded to the
// storage type before the division, which is what the single-precision form has always done.
template <class T>
void DesignLowOrHighPass(T* coeffs, T fSamplesPerSecond, T fFrequency, T fQ, bool bHighPass)
{
    if (!(fFrequency <= fSamplesPerSecond * T(0.5))) {
        if (bHighPass) {
            for (int i = 0; i < 6; ++i)
                coeffs[i] = T(0);
        } else {
            PassThrough(coeffs);
        }
        return;
    }
    QW_ASSERT(fSamplesPerSecond > 0);
    const double w0 = 2.0 * kPi * static_cast<double>(fFrequency) / static_cast<double>(fSamplesPerSecond);
    const double c = std::cos(w0);
    const double s = std::sin(w0);
    const double alpha = s * (0.5 / static_cast<double>(fQ));
    const T a0 = static_cast<T>(1.0 + alpha);
    const double dA0 = static_cast<double>(a0);
    const double b0 = bHighPass ? (1.0 + c) / 2.0 : (1.0 - c) / 2.0;
    const double b1 = bHighPass ? -1.0 - c : 1.0 - c;
    coeffs[0] = static_cast<T>(b0 / dA0);
    coeffs[1] = static_cast<T>(b1 / dA0);
    coeffs[2] = static_cast<T>(b0 / dA0);
    coeffs[3] = T(1);
    coeffs[4] = static_cast<T>(-2.0 * c / dA0);
    coeffs[5] = static_cast<T>((1.0 - alpha) / dA0);
}

template <class T>
void LowPassImpl(T* coeffs, T fSamplesPerSecond, T fFrequency, T fQ)
{
    DesignLowOrHighPass(coeffs, fSamplesPerSecond, fFrequency, fQ, false);
    QW_ASSERT(coeffs[0] != 0.0 || coeffs[1] != 0.0 || coeffs[2] != 0.0);
}

template <class T>
void BandPassImpl(T* coeffs, T fSamplesPerSecond, T fFrequency, T fQ)
{
    if (!(fFrequency <= fSamplesPerSecond * T(0.5))) {
        PassThrough(coeffs);
        return;
    }
    QW_ASSERT(fSamplesPerSecond > 0);
    const T w0 = T(2.0 * kPi) * fFrequency / fSamplesPerSecond;
    const T c = std::cos(w0);
    const T s = std::sin(w0);
    const T alpha = s * (T(0.5) / fQ);
    const T a0 = T(1) + alpha;
    coeffs[0] = alpha / a0;
    coeffs[1] = T(0) / a0;
    coeffs[2] = -alpha / a0;
    coeffs[3] = T(1);
    coeffs[4] = (T(-2) * c) / a0;
    coeffs[5] = (T(1) - alpha) / a0;
}

template <class T>
void PeakingImpl(T* coeffs, T fSamplesPerSecond, T fFrequency, T fGainDb, T fQ)
{
    if (!(fFrequency <= fSamplesPerSecond * T(0.5))) {
        PassThrough(coeffs);
        return;
    }
    QW_ASSERT(fSamplesPerSecond > 0);
    const T A = std::pow(T(10), fGainDb * T(0.025));
    const T w0 = T(2.0 * kPi) * fFrequency / fSamplesPerSecond;
    const T c = std::cos(w0);
    const T s = std::sin(w0);
    const T alpha = s * (T(0.5) / fQ);
    const T a0 = T(1) + alpha / A;
    coeffs[0] = (T(1) + alpha * A) / a0;
    coeffs[1] = (T(-2) * c) / a0;
    coeffs[2] = (T(1) - alpha * A) / a0;
    coeffs[3] = T(1);
    coeffs[4] = (T(-2) * c) / a0;
    coeffs[5] = (T(1) - alpha / A) / a0;
}

template <class T>
void ShelfImpl(T* coeffs, T fSamplesPerSecond, T fFrequency, T fGainDb, T fSlope, bool bHigh)
{
    QW_ASSERT(fSlope > 0.0f && fSlope <= 1.0f);
    if (!(fFrequency <= fSamplesPerSecond * T(0.5))) {
        PassThrough(coeffs);
        return;
    }
    QW_ASSERT(fSamplesPerSecond > 0);
    // 10^(gain / 20), twice the usual shelf exponent: the plateau lands at A^2, twice the gain in dB.
    const T A = std::pow(T(10), fGainDb * T(0.05));
    const T w0 = T(2.0 * kPi) * fFrequency / fSamplesPerSecond;
    const T c = std::cos(w0);
    const T s = std::sin(w0);
    const T p = A + T(1);
    const T m = A - T(1);
    const T beta = s * std::sqrt((A * A + T(1)) / fSlope - m * m);
    T a0, b0, b1, b2, a1, a2;
    if (!bHigh) {
        a0 = p + m * c + beta;
        b0 = A * (p - m * c + beta);
        b1 = T(2) * A * (m - p * c);
        b2 = A * (p - m * c - beta);
        a1 = T(-2) * m - T(2) * p * c;
        a2 = p + m * c - beta;
    } else {
        a0 = p - m * c + beta;
        b0 = A * (p + m * c + beta);
        b1 = T(-2) * A * (m + p * c);
        b2 = A * (p + m * c - beta);
        a1 = T(2) * (m - p * c);
        a2 = p - m * c - beta;
    }
    coeffs[0] = b0 / a0;
    coeffs[1] = b1 / a0;
    coeffs[2] = b2 / a0;
    coeffs[3] = T(1);
    coeffs[4] = a1 / a0;
    coeffs[5] = a2 / a0;
}

template <class T>
void FirstOrderImpl(T* coeffs, T fSamplesPerSecond, T fFrequency, bool bPrewarp, bool bHighPass)
{
    coeffs[2] = T(1);
    if (!(T(2) * fFrequency <= fSamplesPerSecond)) {
        coeffs[0] = bHighPass ? T(0) : T(1);
        coeffs[1] = T(0);
        coeffs[3] = T(0);
        return;
    }
    if (!(T(0) < fFrequency)) {
        coeffs[0] = bHighPass ? T(1) : T(0);
        coeffs[1] = T(0);
        coeffs[3] = T(0);
        return;
    }
    const T k = T(2) * fSamplesPerSecond;
    T w = T(2.0 * kPi) * fFrequency;
    if (bPrewarp)
        w = std::tan(w / fSamplesPerSecond / k) * k * fSamplesPerSecond; // divided by the rate twice: as required
    const T a = k / w;
    const T g = T(1) / (a + T(1));
    if (bHighPass) {
        coeffs[0] = g * a;
        coeffs[1] = -g * a;
    } else {
        coeffs[0] = g;
        coeffs[1] = g;
    }
    coeffs[3] = (T(1) - a) * g;
}

template <class T>
void BilinearImpl(T* coeffs, const T* pAnalog, uint32_t uOrder, T fSamplesPerSecond, const BilinearWarp<T>& warp)
{
    T k = T(2) * fSamplesPerSecond;
    if (warp.bEnabled) {
        const T wf = T(2.0 * kPi) * warp.fFrequency;
        k = wf / std::tan(T(0.5) / fSamplesPerSecond * wf);
    }
    if (uOrder == 1) {
        const T b0 = pAnalog[0], b1 = pAnalog[1], a0 = pAnalog[2], a1 = pAnalog[3];
        coeffs[0] = b0 + k * b1;
        coeffs[1] = b0 - k * b1;
        coeffs[2] = a0 + k * a1;
        coeffs[3] = a0 - k * a1;
    } else if (uOrder == 2) {
        const T b0 = pAnalog[0], b1 = pAnalog[1], b2 = pAnalog[2];
        const T a0 = pAnalog[3], a1 = pAnalog[4], a2 = pAnalog[5];
        const T k2 = k * k;
        coeffs[0] = b0 + k * b1 + k2 * b2;
        coeffs[1] = T(2) * b0 - T(2) * b2 * k2;
        coeffs[2] = b0 - k * b1 + k2 * b2;
        coeffs[3] = a0 + k * a1 + k2 * a2;
        coeffs[4] = T(2) * a0 - T(2) * a2 * k2;
        coeffs[5] = a0 - k * a1 + k2 * a2;
    } else {
        QW_ASSERT(false);
    }
    const uint32_t uA0 = uOrder + 1;
    const T a0 = coeffs[uA0];
    for (uint32_t i = 0; i < 2 * uA0; ++i)
        if (i != uA0)
            coeffs[i] = coeffs[i] / a0;
    coeffs[uA0] = T(1);
}

template <class T>
void PrototypeImpl(T* coeffs, T fSamplesPerSecond, T fCutoff, const AnalogPrototype& prototype, bool bHighPass)
{
    const T wc = T(2.0 * kPi) * fCutoff;
    const BilinearWarp<T> warp = {fCutoff, true};
    for (uint32_t i = 0; i < prototype.NumSections(); ++i) {
        const double* p = prototype.Section(i);
        const T p0 = static_cast<T>(p[0]), p1 = static_cast<T>(p[1]), p2 = static_cast<T>(p[2]);
        T analog[6];
        if (bHighPass) {
            // s^2 / ((2 pi fc)^2 p2 + (2 pi fc) p1 s + p0 s^2)
            analog[0] = T(0);
            analog[1] = T(0);
            analog[2] = T(1);
            analog[3] = wc * wc * p2;
            analog[4] = wc * p1;
            analog[5] = p0;
        } else {
            // 1 / (p0 + (p1 / (2 pi fc)) s + (p2 / (2 pi fc)^2) s^2)
            analog[0] = T(1);
            analog[1] = T(0);
            analog[2] = T(0);
            analog[3] = p0;
            analog[4] = p1 / wc;
            analog[5] = p2 / (wc * wc);
        }
        BilinearImpl(coeffs + 6 * i, analog, 2u, fSamplesPerSecond, warp);
    }
}

template <class T>
void GroupDelayAllPassImpl(T* coeffs, const T* pDelay, uint32_t uNumBins, uint32_t uNumSections)
{
    const T N = static_cast<T>(2 * static_cast<int64_t>(uNumBins) - 2);
    T sum = T(0);
    for (uint32_t i = 0; i < uNumBins; ++i)
        sum += pDelay[i];
    // Spread what the sections must add beyond the wanted delay evenly over the bins, so that
    // each section takes a run of bins worth N.
    const T fAdd = (static_cast<T>(uNumSections) - sum / N) / static_cast<T>(uNumBins) * N;
    QW_ASSERT(fAdd > 0);
    uint32_t i = 0;
    for (uint32_t sct = 0; sct < uNumSections; ++sct) {
        const uint32_t i0 = i;
        T acc = T(0);
        while (i < uNumBins && acc < N) {
            acc += fAdd + pDelay[i];
            ++i;
        }
        const uint32_t i1 = i;
        const T theta = static_cast<T>(i0 + i1) * T(kPi) / N;
        const T d = static_cast<T>(i1 - i0) * T(kPi) / N;
        const T c = static_cast<T>(static_cast<float>(9.999997615814777 - 8.999997615814777 * std::cos(d)));
        const T r = c - std::sqrt(c * c - T(1));
        T* q = coeffs + 6 * sct;
        q[0] = r * r;
        q[1] = T(-2) * r * std::cos(theta);
        q[2] = T(1);
        q[3] = T(1);
        q[4] = q[1];
        q[5] = q[0];
    }
}
} // namespace

void DesignLowPass(float* coeffs, float fSamplesPerSecond, float fFrequency, float fQ)
{
    LowPassImpl(coeffs, fSamplesPerSecond, fFrequency, fQ);
}
void DesignLowPass(double* coeffs, double fSamplesPerSecond, double fFrequency, double fQ)
{
    LowPassImpl(coeffs, fSamplesPerSecond, fFrequency, fQ);
}
void DesignHighPass(float* coeffs, float fSamplesPerSecond, float fFrequency, float fQ)
{
    DesignLowOrHighPass(coeffs, fSamplesPerSecond, fFrequency, fQ, true);
}
void DesignHighPass(double* coeffs, double fSamplesPerSecond, double fFrequency, double fQ)
{
    DesignLowOrHighPass(coeffs, fSamplesPerSecond, fFrequency, fQ, true);
}
void DesignBandPass(float* coeffs, float fSamplesPerSecond, float fFrequency, float fQ)
{
    BandPassImpl(coeffs, fSamplesPerSecond, fFrequency, fQ);
}
void DesignBandPass(double* coeffs, double fSamplesPerSecond, double fFrequency, double fQ)
{
    BandPassImpl(coeffs, fSamplesPerSecond, fFrequency, fQ);
}
void DesignPeaking(float* coeffs, float fSamplesPerSecond, float fFrequency, float fGainDb, float fQ)
{
    PeakingImpl(coeffs, fSamplesPerSecond, fFrequency, fGainDb, fQ);
}
void DesignPeaking(double* coeffs, double fSamplesPerSecond, double fFrequency, double fGainDb, double fQ)
{
    PeakingImpl(coeffs, fSamplesPerSecond, fFrequency, fGainDb, fQ);
}
void DesignLowShelf(float* coeffs, float fSamplesPerSecond, float fFrequency, float fGainDb, float fSlope)
{
    ShelfImpl(coeffs, fSamplesPerSecond, fFrequency, fGainDb, fSlope, false);
}
void DesignLowShelf(double* coeffs, double fSamplesPerSecond, double fFrequency, double fGainDb, double fSlope)
{
    ShelfImpl(coeffs, fSamplesPerSecond, fFrequency, fGainDb, fSlope, false);
}
void DesignHighShelf(float* coeffs, float fSamplesPerSecond, float fFrequency, float fGainDb, float fSlope)
{
    ShelfImpl(coeffs, fSamplesPerSecond, fFrequency, fGainDb, fSlope, true);
}
void DesignHighShelf(double* coeffs, double fSamplesPerSecond, double fFrequency, double fGainDb, double fSlope)
{
    ShelfImpl(coeffs, fSamplesPerSecond, fFrequency, fGainDb, fSlope, true);
}
void DesignFirstOrderLowPass(float* coeffs, float fSamplesPerSecond, float fFrequency, bool bPrewarp)
{
    FirstOrderImpl(coeffs, fSamplesPerSecond, fFrequency, bPrewarp, false);
}
void DesignFirstOrderLowPass(double* coeffs, double fSamplesPerSecond, double fFrequency, bool bPrewarp)
{
    FirstOrderImpl(coeffs, fSamplesPerSecond, fFrequency, bPrewarp, false);
}
void DesignFirstOrderHighPass(float* coeffs, float fSamplesPerSecond, float fFrequency, bool bPrewarp)
{
    FirstOrderImpl(coeffs, fSamplesPerSecond, fFrequency, bPrewarp, true);
}
void DesignFirstOrderHighPass(double* coeffs, double fSamplesPerSecond, double fFrequency, bool bPrewarp)
{
    FirstOrderImpl(coeffs, fSamplesPerSecond, fFrequency, bPrewarp, true);
}
void BilinearTransform(float* coeffs, const float* pAnalog, uint32_t uOrder, float fSamplesPerSecond,
                       const BilinearWarp<float>& warp)
{
    BilinearImpl(coeffs, pAnalog, uOrder, fSamplesPerSecond, warp);
}
void BilinearTransform(double* coeffs, const double* pAnalog, uint32_t uOrder, double fSamplesPerSecond,
                       const BilinearWarp<double>& warp)
{
    BilinearImpl(coeffs, pAnalog, uOrder, fSamplesPerSecond, warp);
}
void DesignPrototypeLowPass(float* coeffs, float fSamplesPerSecond, float fCutoff, const AnalogPrototype& prototype)
{
    PrototypeImpl(coeffs, fSamplesPerSecond, fCutoff, prototype, false);
}
void DesignPrototypeLowPass(double* coeffs, double fSamplesPerSecond, double fCutoff, const AnalogPrototype& prototype)
{
    PrototypeImpl(coeffs, fSamplesPerSecond, fCutoff, prototype, false);
}
void DesignPrototypeHighPass(float* coeffs, float fSamplesPerSecond, float fCutoff, const AnalogPrototype& prototype)
{
    PrototypeImpl(coeffs, fSamplesPerSecond, fCutoff, prototype, true);
}
void DesignPrototypeHighPass(double* coeffs, double fSamplesPerSecond, double fCutoff,
                             const AnalogPrototype& prototype)
{
    PrototypeImpl(coeffs, fSamplesPerSecond, fCutoff, prototype, true);
}
void DesignGroupDelayAllPass(float* coeffs, const float* pDelay, uint32_t uNumBins, uint32_t uNumSections)
{
    GroupDelayAllPassImpl(coeffs, pDelay, uNumBins, uNumSections);
}
void DesignGroupDelayAllPass(double* coeffs, const double* pDelay, uint32_t uNumBins, uint32_t uNumSections)
{
    GroupDelayAllPassImpl(coeffs, pDelay, uNumBins, uNumSections);
}
