#include "kvdspbase/dsp/pivotedqr.h"
#include <cfloat>
#include <cmath>

uint32_t SolveLeastSquaresPivotedQr(uint32_t uRows, uint32_t uCols, double* io_pA, double* io_pB, double* out_pX,
                                    uint32_t* out_puPivots, double* io_pdWork)
{
    const uint32_t uSteps = uRows < uCols ? uRows : uCols;
    for (uint32_t c = 0; c < uCols; ++c) {
        out_puPivots[c] = c;
        out_pX[c] = 0.0;
    }
    auto A = [io_pA, uCols](uint32_t r, uint32_t c) -> double& { return io_pA[static_cast<size_t>(r) * uCols + c]; };
    // Relative to the largest column: rounding of a few operations per entry of a column.
    const double dTolerance = 10.0 * (uRows > uCols ? uRows : uCols) * DBL_EPSILON;
    double dFirstDiagonal = 0.0;
    uint32_t uRank = 0;
    for (uint32_t k = 0; k < uSteps; ++k) {
        // Norms of what remains of each column, recomputed rather than down-dated: exact at
        // little cost for the narrow systems of a predictor fit.
        uint32_t uBest = k;
        for (uint32_t c = k; c < uCols; ++c) {
            double dSum = 0.0;
            for (uint32_t r = k; r < uRows; ++r)
                dSum += A(r, c) * A(r, c);
            io_pdWork[c] = dSum;
            if (dSum > io_pdWork[uBest])
                uBest = c;
        }
        if (uBest != k) {
            for (uint32_t r = 0; r < uRows; ++r) {
                const double d = A(r, k);
                A(r, k) = A(r, uBest);
                A(r, uBest) = d;
            }
            const uint32_t u = out_puPivots[k];
            out_puPivots[k] = out_puPivots[uBest];
            out_puPivots[uBest] = u;
        }
        const double dAlpha = std::sqrt(io_pdWork[uBest]);
        if (k == 0)
            dFirstDiagonal = dAlpha;
        if (!(dAlpha > dTolerance * dFirstDiagonal) || dAlpha == 0.0)
            break;
        // Reflector v = x - beta e1 with beta of the opposite sign to x[0], so nothing cancels.
        const double dBeta = A(k, k) >= 0.0 ? -dAlpha : dAlpha;
        A(k, k) -= dBeta;
        const double dScale = 1.0 / (dAlpha * (dAlpha + std::fabs(A(k, k) + dBeta))); // 2 / |v|^2
        for (uint32_t c = k + 1; c < uCols; ++c) {
            double dDot = 0.0;
            for (uint32_t r = k; r < uRows; ++r)
                dDot += A(r, k) * A(r, c);
            dDot *= dScale;
            for (uint32_t r = k; r < uRows; ++r)
                A(r, c) -= dDot * A(r, k);
        }
        double dDot = 0.0;
        for (uint32_t r = k; r < uRows; ++r)
            dDot += A(r, k) * io_pB[r];
        dDot *= dScale;
        for (uint32_t r = k; r < uRows; ++r)
            io_pB[r] -= dDot * A(r, k);
        A(k, k) = dBeta;
        uRank = k + 1;
    }
    // R z = Q' b over the leading rank columns, then back to the original column order.
    for (uint32_t i = uRank; i-- > 0;) {
        double dSum = io_pB[i];
        for (uint32_t c = i + 1; c < uRank; ++c)
            dSum -= A(i, c) * io_pdWork[c];
        io_pdWork[i] = dSum / A(i, i);
    }
    for (uint32_t i = 0; i < uRank; ++i)
        out_pX[out_puPivots[i]] = io_pdWork[i];
    return uRank;
}
