#include <gtest/gtest.h>
#include <cmath>
#include <complex>
#include <random>
#include <vector>
#include "kvreverbconsole/dsp/fdn/circulantmatrix.h"
#include "support/dspreference.h"
#include "support/testhost.h"

TEST(CirculantMatrix, UnitCircleEigenvaluesGiveAUnitaryMatrixForAnyPhases)
{
    TestHost host;
    std::mt19937 rng(17);
    std::uniform_real_distribution<float> phase(-3.14159f, 3.14159f);
    for (uint32_t n : {4u, 8u, 16u}) {
        CirculantMatrix matrix(n);
        std::vector<std::complex<float>> eig(n / 2 + 1);
        eig[0] = 1.0f;
        eig[n / 2] = -1.0f;
        for (uint32_t k = 1; k < n / 2; ++k)
            eig[k] = std::polar(1.0f, phase(rng));
        matrix.SetEigenvalues(eig.data());
        // Multiplication is circular convolution with the row; check it directly and check
        // that the norm of every vector is kept.
        std::vector<float> row(n), x(n), y(n);
        matrix.GetRow(row.data());
        for (uint32_t trial = 0; trial < 5; ++trial) {
            x = RefNoise(n, 100 * n + trial);
            matrix.Multiply(x.data(), y.data());
            double fIn = 0, fOut = 0;
            for (uint32_t i = 0; i < n; ++i) {
                double direct = 0;
                for (uint32_t j = 0; j < n; ++j)
                    direct += static_cast<double>(row[(i + n - j) % n]) * x[j];
                EXPECT_NEAR(y[i], direct, 1e-5) << n << " " << i;
                fIn += x[i] * x[i];
                fOut += y[i] * y[i];
            }
            EXPECT_NEAR(fOut / fIn, 1.0, 1e-5) << "size " << n;
        }
        // The full spectrum is conjugate-symmetric, and SetRow / GetRow round-trips.
        std::vector<std::complex<float>> all(n);
        matrix.GetEigenvalues(all.data());
        for (uint32_t k = 1; k < n; ++k)
            EXPECT_NEAR(std::abs(all[k] - std::conj(all[n - k])), 0.0f, 1e-6f);
        matrix.SetRow(x.data());
        std::vector<float> back(n);
        matrix.GetRow(back.data());
        EXPECT_EQ(back, x);
    }
    EXPECT_EQ(host.asserts.Total(), 0u);
}
