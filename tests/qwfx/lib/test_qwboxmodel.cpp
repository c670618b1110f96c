#include <gtest/gtest.h>
#include <cmath>
#include <cstring>
#include <fstream>
#include <vector>
#include "qwfx/lib/qwboxmodel.h"

namespace {

uint32_t U32At(const std::vector<uint8_t>& in_b, size_t in_uAt)
{
    return uint32_t(in_b[in_uAt]) | uint32_t(in_b[in_uAt + 1]) << 8 | uint32_t(in_b[in_uAt + 2]) << 16 |
           uint32_t(in_b[in_uAt + 3]) << 24;
}
float F32At(const std::vector<uint8_t>& in_b, size_t in_uAt)
{
    const uint32_t u = U32At(in_b, in_uAt);
    float f;
    std::memcpy(&f, &u, 4);
    return f;
}

// Reads a mono 24-bit PCM WAV by walking its chunks, independently of libsndfile.
std::vector<double> ReadPcm24(const std::string& in_sPath)
{
    std::ifstream file(in_sPath, std::ios::binary);
    std::vector<uint8_t> b((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    std::vector<double> x;
    size_t uAt = 12;
    while (uAt + 8 <= b.size()) {
        const uint32_t uSize = U32At(b, uAt + 4);
        if (std::memcmp(&b[uAt], "fmt ", 4) == 0) {
            EXPECT_EQ(b[uAt + 8 + 2], 1);  // one channel
            EXPECT_EQ(b[uAt + 8 + 14], 24); // bits per sample
        }
        if (std::memcmp(&b[uAt], "data", 4) == 0) {
            for (size_t i = uAt + 8; i + 3 <= uAt + 8 + uSize; i += 3) {
                int32_t s = int32_t(uint32_t(b[i]) << 8 | uint32_t(b[i + 1]) << 16 | uint32_t(b[i + 2]) << 24) >> 8;
                x.push_back(s / 8388608.0);
            }
        }
        uAt += 8 + uSize + (uSize & 1);
    }
    return x;
}

} // namespace

TEST(QwBoxModel, PacksGainCountAndTapsLittleEndian)
{
    std::vector<uint8_t> blob;
    std::string sError;
    ASSERT_TRUE(QwPackBoxModel({0.5f, -0.25f, 1e-3f}, -6.0f, blob, sError));
    ASSERT_EQ(blob.size(), 20u);
    // -6.0f is 0xC0C00000: sign, exponent 129, mantissa 0.5.
    EXPECT_EQ(U32At(blob, 0), 0xC0C00000u);
    EXPECT_EQ(U32At(blob, 4), 3u);
    EXPECT_EQ(U32At(blob, 8), 0x3F000000u); // 0.5
    EXPECT_EQ(F32At(blob, 12), -0.25f);
    EXPECT_EQ(F32At(blob, 16), 1e-3f);
}

TEST(QwBoxModel, RefusesEmptyAndOverlongResponses)
{
    std::vector<uint8_t> blob;
    std::string sError;
    EXPECT_FALSE(QwPackBoxModel({}, 0.0f, blob, sError));
    EXPECT_NE(sError.find("empty"), std::string::npos) << sError;
    sError.clear();
    EXPECT_FALSE(QwPackBoxModel(std::vector<float>(1000001, 0.1f), 0.0f, blob, sError));
    EXPECT_NE(sError.find("1000001 taps"), std::string::npos) << sError;
    EXPECT_TRUE(QwPackBoxModel(std::vector<float>(1000000, 0.1f), 0.0f, blob, sError));
    EXPECT_EQ(blob.size(), 4000008u);
}

TEST(QwBoxModel, ReadsTheMeasuredCabinetSampleForSample)
{
    const std::string sPath = std::string(KVFX_SOURCE_DIR) + "/qwfx/data/bass-combo-a-44k.wav";
    const std::vector<double> ref = ReadPcm24(sPath);
    ASSERT_EQ(ref.size(), 8192u);
    std::vector<uint8_t> blob;
    std::string sError;
    ASSERT_TRUE(QwBoxModelFromFile(sPath, 0, 1.5f, blob, sError)) << sError;
    ASSERT_EQ(blob.size(), 8 + 4 * 8192u);
    EXPECT_EQ(F32At(blob, 0), 1.5f);
    EXPECT_EQ(U32At(blob, 4), 8192u);
    for (size_t i = 0; i < ref.size(); ++i)
        ASSERT_EQ(F32At(blob, 8 + 4 * i), float(ref[i])) << i; // 24-bit values are exact in float
    // The peak sits at sample 34, as measured.
    size_t iPeak = 0;
    for (size_t i = 0; i < ref.size(); ++i)
        if (std::fabs(ref[i]) > std::fabs(ref[iPeak]))
            iPeak = i;
    EXPECT_EQ(iPeak, 34u);

    EXPECT_FALSE(QwBoxModelFromFile(sPath, 1, 0.0f, blob, sError));
    EXPECT_NE(sError.find("channel 1"), std::string::npos) << sError;
    EXPECT_FALSE(QwBoxModelFromFile(sPath + ".missing", 0, 0.0f, blob, sError));
}

TEST(QwBoxModel, SyntheticCabinetIsBandLimited)
{
    // Magnitude of the taps' DFT at a few frequencies: the fourth-order high-pass at 80 Hz
    // and low-pass at 4.5 kHz give about -24 dB an octave below and above (48 dB/octave
    // asymptotes minus the corner's -3 dB), against the 1 kHz passband.
    const uint32_t uRate = 48000;
    const std::vector<float> h = QwSynthCabinet(uRate, 2048);
    ASSERT_EQ(h.size(), 2048u);
    auto magnitudeDb = [&](double f) {
        double re = 0, im = 0;
        for (size_t n = 0; n < h.size(); ++n) {
            re += h[n] * std::cos(2 * M_PI * f * n / uRate);
            im -= h[n] * std::sin(2 * M_PI * f * n / uRate);
        }
        return 10 * std::log10(re * re + im * im);
    };
    const double fPass = magnitudeDb(1000.0);
    EXPECT_NEAR(fPass, 0.0, 3.0);
    EXPECT_LT(magnitudeDb(40.0), fPass - 20.0);
    EXPECT_LT(magnitudeDb(9000.0), fPass - 20.0);
    EXPECT_LT(magnitudeDb(18000.0), fPass - 50.0);
    // Unit-energy gain: the sum of squares of the scaled taps is 1.
    const double g = std::pow(10.0, QwUnitEnergyGainDb(h) / 20.0);
    double fEnergy = 0;
    for (float t : h)
        fEnergy += (g * t) * (g * t);
    EXPECT_NEAR(fEnergy, 1.0, 1e-5);
    EXPECT_NEAR(std::fabs(h.back()), 0.0, 1e-9); // faded to nothing
}
