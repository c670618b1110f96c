// Least squares by Householder QR with column pivoting: the linear-algebra routine behind the
// covariance-method predictor fit. Works in place on caller storage and allocates nothing.
#pragma once
#include <cstdint>

// Minimises |A x - b| for the row-major uRows x uCols matrix io_pA, which is overwritten (R in
// its upper triangle), as is io_pB (by Q' b). Columns are taken largest remaining norm first;
// out_puPivots[k] is the original index of the k-th column taken. The rank is the number of
// columns whose diagonal in R exceeds the tolerance, relative to the first; the solution
// gives 0 to the columns beyond it (the basic solution). io_pdWork holds uCols doubles.
// Returns the rank.
uint32_t SolveLeastSquaresPivotedQr(uint32_t uRows, uint32_t uCols, double* io_pA, double* io_pB, double* out_pX,
                                    uint32_t* out_puPivots, double* io_pdWork);
