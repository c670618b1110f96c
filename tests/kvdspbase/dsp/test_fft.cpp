#include <gtest/gtest.h>
#include "kvdspbase/dsp/fft.h"
#include "support/dspreference.h"
#include "support/testhost.h"

// Against the O(N^2) DFT in double: real and complex forward, complex inverse of the exact
// spectrum, exact zeros at DC and Nyquist, and in-place calls giving the same bits.
TEST(Fft, MatchesDirectDft)
{
    TestHost host;
    for (bool bSimd : {true, false}) {
        for (uint32_t n = 1; n <= (bSimd ? 4096u : 1024u); n *= 2) {
            Fft r, c;
            ASSERT_TRUE(r.InitReal(n) && c.InitComplex(n));
            r.UseSimd(bSimd);
            c.UseSimd(bSimd);
            std::vector<float> re = RefNoise(n, n), im = RefNoise(n, n + 1), spectrum(n + 2), sr(n), si(n);
            const std::vector<cd> want = RefDft(RefSplit(re, im));
            // The spectrum of the real part alone: (X[k] + conj X[N-k]) / 2.
            std::vector<cd> wantReal(n);
            for (uint32_t k = 0; k < n; ++k)
                wantReal[k] = 0.5 * (want[k] + std::conj(want[(n - k) % n]));
            r.ForwardReal(re.data(), spectrum.data());
            // Single-precision rounding over log2(N) stages stays well below 1e-6 relative.
            EXPECT_LT(RefRelativeRms(RefPairs(spectrum), std::vector<cd>(wantReal.begin(), wantReal.begin() + (n + 2) / 2)),
                      1e-6) << n;
            EXPECT_EQ(spectrum[1], 0.0f);
            EXPECT_EQ(spectrum[n == 1 ? 1 : n + 1], 0.0f);
            c.ForwardComplex(re.data(), im.data(), sr.data(), si.data());
            EXPECT_LT(RefRelativeRms(RefSplit(sr, si), want), 1e-6) << n;
            std::vector<float> wr(n), wi(n), br(n), bi(n);
            for (uint32_t k = 0; k < n; ++k) {
                wr[k] = static_cast<float>(want[k].real());
                wi[k] = static_cast<float>(want[k].imag());
            }
            c.InverseComplex(wr.data(), wi.data(), br.data(), bi.data());
            EXPECT_LT(RefRelativeRms(RefSplit(br, bi), RefSplit(re, im)), 1e-6) << n;
            if (n >= 2) {
                std::vector<float> xr = re, xi = im, x = re;
                x.resize(n + 2);
                c.ForwardComplex(xr.data(), xi.data(), xr.data(), xi.data());
                r.ForwardReal(x.data(), x.data());
                EXPECT_TRUE(xr == sr && xi == si && x == spectrum) << n;
            }
        }
    }
    // Size 1 in both passes: the wrapper's order never goes below 1.
    EXPECT_EQ(host.asserts.Count("(1<<m_uOrder)==m_sFFT"), 4u);
    EXPECT_EQ(host.asserts.Total(), 4u);
}

TEST(Fft, LargeSizesAgainstDoubleReference)
{
    TestHost host;
    const uint32_t n = 1u << 16;
    Fft c, r;
    ASSERT_TRUE(c.InitComplex(n) && r.InitReal(n));
    const std::vector<float> re = RefNoise(n, 11), im = RefNoise(n, 12);
    std::vector<float> sr(n), si(n), spectrum(n + 2), back(n);
    c.ForwardComplex(re.data(), im.data(), sr.data(), si.data());
    std::vector<cd> want = RefSplit(re, im), wantReal = RefSplit(re, std::vector<float>(n));
    RefFft(want);
    RefFft(wantReal);
    EXPECT_LT(RefRelativeRms(RefSplit(sr, si), want), 1e-6);
    r.ForwardReal(re.data(), spectrum.data());
    EXPECT_LT(RefRelativeRms(RefPairs(spectrum), std::vector<cd>(wantReal.begin(), wantReal.begin() + n / 2 + 1)), 1e-6);
    r.InverseReal(spectrum.data(), back.data());
    EXPECT_LT(RefRelativeRms(RefSplit(back, std::vector<float>(n)), RefSplit(re, std::vector<float>(n))), 1e-6);
}

// The inverse does not ignore the imaginary parts of bins 0 and N/2. Reference: the Hartley form
// x[n] = (1/N) sum_k h[k] cas(-2 pi k n / N), h[k] = Re X[k] + Im X[k], mirrored above N/2.
TEST(Fft, InverseRealCountsEdgeImaginaryParts)
{
    TestHost host;
    for (uint32_t uCase = 0; uCase < 6; ++uCase) {
        const uint32_t n = uCase < 2 ? 4 : uCase < 4 ? 16 : 512;
        Fft fft;
        fft.InitReal(n);
        fft.UseSimd(uCase % 2 == 0);
        const std::vector<float> spectrum = RefNoise(n + 2, n);
        std::vector<float> out(n);
        fft.InverseReal(spectrum.data(), out.data());
        for (uint32_t t = 0; t < n; ++t) {
            double s = 0;
            for (uint32_t k = 0; k < n; ++k) {
                const uint32_t j = k <= n / 2 ? k : n - k;
                const double h = spectrum[2 * j] + (k <= n / 2 ? 1.0 : -1.0) * spectrum[2 * j + 1];
                const double a = 2 * REF_PI * double((uint64_t(k) * t) % n) / n;
                s += h * (std::cos(a) - std::sin(a));
            }
            EXPECT_NEAR(out[t], s / n, 1e-6) << n << " " << t << " simd " << (uCase % 2 == 0);
        }
        // Added to the first 0, n / 2 or n floats of a sum in its last pass, in place and not:
        // the bits of the inverse and then the sum.
        for (uint32_t uAdd : {0u, n / 2, n}) {
            const std::vector<float> add = RefNoise(n, n + uAdd);
            std::vector<float> want = out, sum = add, to(n);
            for (uint32_t t = 0; t < uAdd; ++t)
                want[t] = add[t] + out[t];
            fft.InverseRealAdd(spectrum.data(), sum.data(), uAdd, sum.data());
            fft.InverseRealAdd(spectrum.data(), add.data(), uAdd, to.data());
            EXPECT_TRUE(to == want && sum == want) << n << " " << uAdd;
        }
    }
}

// Transforms inside Execute allocate nothing: the module's allocation sweep checks every effect.
TEST(Fft, FailedInitIsReportedAndWritesNothing)
{
    TestHost host;
    Fft f;
    host.allocator.FailAt(2);
    EXPECT_FALSE(f.InitComplex(64));
    EXPECT_EQ(host.asserts.Count("bAllocSuccess"), 1u);
    std::vector<float> one(64, 1.0f), out(64, 7.0f);
    f.ForwardComplex(one.data(), one.data(), out.data(), out.data());
    EXPECT_EQ(out, std::vector<float>(64, 7.0f)); // nothing written
}

#if defined(__x86_64__)
// The SSE2 stage keeps the portable order of operations (no fused multiply-add), so the two
// must agree bit for bit, at every stride the stages use.
TEST(Fft, Sse2StageMatchesPortableExactly)
{
    for (uint32_t n : {4u, 8u, 16u, 64u, 256u}) {
        for (uint32_t s : {1u, 4u, 16u}) {
            const std::vector<float> tw = RefNoise(6 * (n / 4), n + s), xr = RefNoise(n * s, n), xi = RefNoise(n * s, s);
            std::vector<float> ar(n * s), ai(n * s), br(n * s), bi(n * s);
            FftSse2Kernels().Radix4(n, s, tw.data(), xr.data(), xi.data(), ar.data(), ai.data());
            FftPortableKernels().Radix4(n, s, tw.data(), xr.data(), xi.data(), br.data(), bi.data());
            EXPECT_TRUE(ar == br && ai == bi) << n << " " << s;
        }
    }
}
#endif
