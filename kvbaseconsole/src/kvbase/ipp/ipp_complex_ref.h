// Double-precision complex scalars for filter design: evaluating responses and placing poles.
// Polynomials are given lowest power first.
#pragma once
#include <cmath>
#include <complex>
#include <cstdint>

typedef std::complex<double> QwComplex;

inline double CplxMagnitude(const QwComplex& z) { return std::abs(z); }
inline double CplxPhase(const QwComplex& z) { return std::arg(z); }
inline QwComplex CplxPolar(double dMagnitude, double dPhase)
{
    return QwComplex(dMagnitude * std::cos(dPhase), dMagnitude * std::sin(dPhase));
}
inline QwComplex CplxSqrt(const QwComplex& z) { return std::sqrt(z); }
inline QwComplex CplxExp(const QwComplex& z) { return std::exp(z); }

// c[0] + c[1] z + ... + c[n-1] z^(n-1), by Horner's rule; 0 for no coefficients.
template <class TCoeff>
QwComplex EvaluatePolynomial(const TCoeff* pCoeffs, uint32_t uNumCoeffs, const QwComplex& z)
{
    QwComplex sum(0.0, 0.0);
    for (uint32_t i = uNumCoeffs; i > 0; --i)
        sum = sum * z + QwComplex(pCoeffs[i - 1]);
    return sum;
}

// Numerator over denominator at z. For a digital section pass z = e^(-i w) with the b and a
// coefficients: H(e^(i w)) = sum b[k] e^(-i w k) / sum a[k] e^(-i w k).
template <class TCoeff>
QwComplex EvaluateTransferFunction(const TCoeff* pNum, uint32_t uNumNum, const TCoeff* pDen, uint32_t uNumDen,
                                   const QwComplex& z)
{
    return EvaluatePolynomial(pNum, uNumNum, z) / EvaluatePolynomial(pDen, uNumDen, z);
}
