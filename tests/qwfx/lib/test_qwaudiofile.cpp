// WAV files through libsndfile: float round trip, integer input scaling, failure leaves nothing.
#include <gtest/gtest.h>
#include <sndfile.h>
#include <cstring>
#include "qwfx/lib/qwaudiofile.h"
#include "support/qwfxrun.h"

TEST(QwAudioFile, FloatWavRoundTripIsExact)
{
    TestTempDir dir;
    QwPlanarAudio audio(44100, 3, 777);
    for (uint32_t c = 0; c < 3; ++c)
        for (size_t i = 0; i < 777; ++i)
            // Values beyond full scale and tiny ones must survive: the file is 32-bit float.
            audio.channels[c][i] = (i % 7 == 0 ? 3.5f : 1e-30f) * static_cast<float>(i) - 0.25f * c;
    std::string sError;
    ASSERT_TRUE(QwWriteFloatWav(dir.File("a.wav"), audio, sError)) << sError;

    SF_INFO info;
    std::memset(&info, 0, sizeof(info));
    SNDFILE* pFile = sf_open(dir.File("a.wav").c_str(), SFM_READ, &info);
    ASSERT_NE(pFile, nullptr);
    EXPECT_EQ(info.format, SF_FORMAT_WAV | SF_FORMAT_FLOAT);
    EXPECT_EQ(info.samplerate, 44100);
    EXPECT_EQ(info.channels, 3);
    EXPECT_EQ(info.frames, 777);
    sf_close(pFile);

    QwPlanarAudio back;
    ASSERT_TRUE(QwReadAudioFile(dir.File("a.wav"), back, sError)) << sError;
    EXPECT_EQ(back.uSampleRate, 44100u);
    EXPECT_EQ(back.channels, audio.channels);
    // Only the target remains: the temporary file was renamed into place.
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path), {}), 1);
}

TEST(QwAudioFile, IntegerFilesReadAtFullScaleOne)
{
    TestTempDir dir;
    SF_INFO info;
    std::memset(&info, 0, sizeof(info));
    info.samplerate = 22050;
    info.channels = 2;
    info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
    SNDFILE* pFile = sf_open(dir.File("pcm.wav").c_str(), SFM_WRITE, &info);
    ASSERT_NE(pFile, nullptr);
    const short aFrames[] = {16384, -32768, -8192, 1};
    sf_writef_short(pFile, aFrames, 2);
    sf_close(pFile);

    QwPlanarAudio audio;
    std::string sError;
    ASSERT_TRUE(QwReadAudioFile(dir.File("pcm.wav"), audio, sError)) << sError;
    ASSERT_EQ(audio.NumChannels(), 2u);
    ASSERT_EQ(audio.NumFrames(), 2u);
    // 16-bit full scale is 32768: 16384 -> 0.5, -32768 -> -1, -8192 -> -0.25, 1 -> 2^-15.
    EXPECT_EQ(audio.channels[0], (std::vector<float>{0.5f, -0.25f}));
    EXPECT_EQ(audio.channels[1], (std::vector<float>{-1.0f, 1.0f / 32768.0f}));
}

TEST(QwAudioFile, FailuresNameTheFileAndLeaveNothing)
{
    TestTempDir dir;
    QwPlanarAudio audio(48000, 1, 10);
    std::string sError;
    EXPECT_FALSE(QwReadAudioFile(dir.File("missing.wav"), audio, sError));
    EXPECT_NE(sError.find("missing.wav"), std::string::npos);
    EXPECT_NE(sError.find("No such file"), std::string::npos);

    // Not audio at all.
    std::FILE* pText = std::fopen(dir.File("notes.txt").c_str(), "w");
    std::fputs("not a sound file\n", pText);
    std::fclose(pText);
    sError.clear();
    EXPECT_FALSE(QwReadAudioFile(dir.File("notes.txt"), audio, sError));
    EXPECT_NE(sError.find("notes.txt"), std::string::npos);

    sError.clear();
    const std::string sTarget = dir.File("no-such-dir/out.wav");
    EXPECT_FALSE(QwWriteFloatWav(sTarget, audio, sError));
    EXPECT_NE(sError.find("out.wav"), std::string::npos);
    EXPECT_FALSE(std::filesystem::exists(sTarget));
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path), {}), 1); // notes.txt only
}
