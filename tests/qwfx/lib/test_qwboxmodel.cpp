#include <gtest/gtest.h>
#include <cstring>
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
    // A million taps at most (the refusals' words are checked through qwfx box-model).
    EXPECT_TRUE(QwPackBoxModel(std::vector<float>(1000000, 0.1f), 0.0f, blob, sError));
    EXPECT_EQ(blob.size(), 4000008u);
    EXPECT_FALSE(QwPackBoxModel(std::vector<float>(1000001, 0.1f), 0.0f, blob, sError));
    EXPECT_FALSE(QwPackBoxModel({}, 0.0f, blob, sError));
}
