// qwfx box-model and qwfx render box-modeler end to end, with the measured bass combo.
#include <gtest/gtest.h>
#include <cmath>
#include <cstring>
#include <fstream>
#include <random>
#include "qwfx/lib/qwaudiofile.h"
#include "support/qwfxrun.h"

namespace {

const std::string CABINET = std::string(KVFX_SOURCE_DIR) + "/qwfx/data/bass-combo-a-44k.wav";

std::vector<uint8_t> Slurp(const std::string& in_sPath)
{
    std::ifstream file(in_sPath, std::ios::binary);
    return std::vector<uint8_t>((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
}

void ExpectOneLineError(const QwfxRunResult& in_result, const std::string& in_sText)
{
    EXPECT_NE(in_result.iStatus, 0);
    const auto lines = in_result.ErrLines();
    ASSERT_EQ(lines.size(), 1u) << in_result.sErr;
    EXPECT_EQ(lines[0].rfind("qwfx: ", 0), 0u) << lines[0];
    EXPECT_NE(lines[0].find(in_sText), std::string::npos) << lines[0];
}

} // namespace

TEST(QwfxBoxModeler, BoxModelWritesTheBlobAndRefusesWhatCannotBeAModel)
{
    TestTempDir dir;
    const std::string sModel = dir.File("cab.bin");
    QwfxRunResult r = RunQwfx({"box-model", CABINET, "-o", sModel, "--gain-db", "-3"}, dir);
    ASSERT_EQ(r.iStatus, 0) << r.sErr;
    const std::vector<uint8_t> blob = Slurp(sModel);
    ASSERT_EQ(blob.size(), 8u + 4u * 8192u);
    float fGain;
    uint32_t uTaps;
    std::memcpy(&fGain, blob.data(), 4);
    std::memcpy(&uTaps, blob.data() + 4, 4);
    EXPECT_EQ(fGain, -3.0f);
    EXPECT_EQ(uTaps, 8192u);

    ExpectOneLineError(RunQwfx({"box-model", dir.File("none.wav"), "-o", dir.File("x.bin")}, dir), "none.wav");
    ExpectOneLineError(RunQwfx({"box-model", CABINET, "-o", dir.File("x.bin"), "--channel", "1"}, dir), "channel 1");
    ExpectOneLineError(RunQwfx({"box-model", CABINET}, dir), "usage");
    std::string sError;
    QwPlanarAudio empty(48000, 1, 0);
    ASSERT_TRUE(QwWriteFloatWav(dir.File("empty.wav"), empty, sError)) << sError;
    ExpectOneLineError(RunQwfx({"box-model", dir.File("empty.wav"), "-o", dir.File("x.bin")}, dir), "empty");
    QwPlanarAudio huge(48000, 1, 1000001);
    ASSERT_TRUE(QwWriteFloatWav(dir.File("huge.wav"), huge, sError)) << sError;
    ExpectOneLineError(RunQwfx({"box-model", dir.File("huge.wav"), "-o", dir.File("x.bin")}, dir), "1000001 taps");
    EXPECT_FALSE(std::filesystem::exists(dir.File("x.bin")));
}

TEST(QwfxBoxModeler, RenderWithTheMeasuredCabinetIsItsConvolution)
{
    // Noise through the 8192-tap bass combo, packed in memory by --ir and from a file by
    // box-model: both give the direct convolution (at H = 512 there is no latency).
    TestTempDir dir;
    QwPlanarAudio input(44100, 1, 3000);
    std::mt19937 rng(1);
    std::uniform_real_distribution<float> dist(-0.5f, 0.5f);
    for (float& x : input.channels[0])
        x = dist(rng);
    std::string sError;
    ASSERT_TRUE(QwWriteFloatWav(dir.File("in.wav"), input, sError)) << sError;
    QwPlanarAudio ir;
    ASSERT_TRUE(QwReadAudioFile(CABINET, ir, sError)) << sError;
    const std::vector<float>& h = ir.channels[0];

    QwfxRunResult r = RunQwfx({"render", "box-modeler", dir.File("in.wav"), dir.File("out.wav"), "--ir", CABINET}, dir);
    ASSERT_EQ(r.iStatus, 0) << r.sErr;
    QwPlanarAudio output;
    ASSERT_TRUE(QwReadAudioFile(dir.File("out.wav"), output, sError)) << sError;
    ASSERT_GE(output.NumFrames(), input.NumFrames() + h.size() - 1);
    const std::vector<float>& x = input.channels[0];
    double fPeak = 0.0;
    for (size_t n = 0; n < x.size() + h.size() - 1; ++n) {
        double ref = 0.0;
        for (size_t k = n >= x.size() ? n - x.size() + 1 : 0; k < h.size() && k <= n; ++k)
            ref += double(h[k]) * x[n - k];
        fPeak = std::max(fPeak, std::fabs(ref));
        ASSERT_NEAR(output.channels[0][n], ref, 2e-5) << n; // float FFT over 16 partitions
    }
    EXPECT_GT(fPeak, 0.05); // the cabinet really passed signal

    ASSERT_EQ(RunQwfx({"box-model", CABINET, "-o", dir.File("cab.bin")}, dir).iStatus, 0);
    r = RunQwfx({"render", "box-modeler", dir.File("in.wav"), dir.File("out2.wav"), "--media", dir.File("cab.bin")}, dir);
    ASSERT_EQ(r.iStatus, 0) << r.sErr;
    QwPlanarAudio output2;
    ASSERT_TRUE(QwReadAudioFile(dir.File("out2.wav"), output2, sError)) << sError;
    EXPECT_EQ(output.channels, output2.channels); // the files differ only in the writer's time stamp

    ExpectOneLineError(
        RunQwfx({"render", "box-modeler", dir.File("in.wav"), dir.File("o.wav"), "--ir", dir.File("no.wav")}, dir),
        "no.wav");
}
