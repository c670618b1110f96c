// Long-double model of IIR sections b0..bN, a0..aN, written from the difference equation and
// independent of the filters under test.
#pragma once
#include <cstdint>
#include <vector>

// y[n] = (sum b[k] x[n-k] - sum_{k>=1} a[k] y[n-k]) / a[0], for uSections sections in series.
template <class T>
std::vector<long double> RefIir(std::vector<long double> x, const T* c, uint32_t uOrder, uint32_t uSections = 1)
{
    for (uint32_t s = 0; s < uSections; ++s, c += 2 * (uOrder + 1)) {
        std::vector<long double> y(x.size());
        for (size_t n = 0; n < x.size(); ++n) {
            long double acc = 0.0L;
            for (uint32_t k = 0; k <= uOrder && k <= n; ++k)
                acc += static_cast<long double>(c[k]) * x[n - k];
            for (uint32_t k = 1; k <= uOrder && k <= n; ++k)
                acc -= static_cast<long double>(c[uOrder + 1 + k]) * y[n - k];
            y[n] = acc / c[uOrder + 1];
        }
        x = y;
    }
    return x;
}
