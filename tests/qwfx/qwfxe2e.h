// Short hands for the end-to-end tests of qwfx: audio and byte files in and out of a temporary
// folder, and a render that must succeed.
#pragma once
#include <filesystem>
#include <cmath>
#include <fstream>
#include <random>
#include <string>
#include <vector>
#include <gtest/gtest.h>
#include "qwfx/lib/qwaudiofile.h"
#include "support/qwfxrun.h"

inline std::string WriteWav(const TestTempDir& in_dir, const std::string& in_sName, const QwPlanarAudio& in_audio)
{
    std::string sError;
    EXPECT_TRUE(QwWriteFloatWav(in_dir.File(in_sName), in_audio, sError)) << sError;
    return in_dir.File(in_sName);
}

inline QwPlanarAudio ReadWav(const std::string& in_sPath)
{
    QwPlanarAudio audio;
    std::string sError;
    EXPECT_TRUE(QwReadAudioFile(in_sPath, audio, sError)) << sError;
    return audio;
}

inline std::string WriteBytes(const TestTempDir& in_dir, const std::string& in_sName, const void* in_pData, size_t in_uSize)
{
    std::ofstream(in_dir.File(in_sName), std::ios::binary).write(static_cast<const char*>(in_pData), in_uSize);
    return in_dir.File(in_sName);
}

// How many times in_sWhat occurs in in_sText.
inline size_t CountOf(const std::string& in_sText, const std::string& in_sWhat)
{
    size_t n = 0;
    for (size_t i = in_sText.find(in_sWhat); i != std::string::npos; i = in_sText.find(in_sWhat, i + 1))
        ++n;
    return n;
}

// A room to fit: noise decaying 60 dB in 0.5 s from 50 ms in, 1 s long at 48 kHz, on
// in_uChannels independent channels.
inline QwPlanarAudio SyntheticRoom(uint32_t in_uChannels)
{
    QwPlanarAudio room(48000, in_uChannels, 48000);
    std::mt19937 rng(3);
    std::normal_distribution<float> gauss(0.0f, 0.3f);
    for (auto& channel : room.channels)
        for (size_t i = 2400; i < channel.size(); ++i)
            channel[i] = gauss(rng) * std::pow(10.0f, -3.0f * static_cast<float>(i - 2400) / 24000.0f);
    return room;
}

// "--set" before each setting.
inline std::vector<std::string> Sets(std::initializer_list<const char*> in_settings)
{
    std::vector<std::string> args;
    for (const char* psz : in_settings) {
        args.push_back("--set");
        args.push_back(psz);
    }
    return args;
}

// qwfx render EFFECT in.wav out.wav EXTRA...: it must succeed without a word on stderr.
inline QwPlanarAudio Render(const TestTempDir& in_dir, const std::string& in_sEffect, const QwPlanarAudio& in_input,
                            const std::vector<std::string>& in_extra)
{
    std::vector<std::string> args = {"render", in_sEffect, WriteWav(in_dir, "in.wav", in_input), in_dir.File("out.wav")};
    args.insert(args.end(), in_extra.begin(), in_extra.end());
    const QwfxRunResult result = RunQwfx(args, in_dir);
    EXPECT_EQ(result.iStatus, 0) << in_sEffect << ": " << result.sErr;
    EXPECT_EQ(result.sErr, "") << in_sEffect;
    QwPlanarAudio output = ReadWav(in_dir.File("out.wav"));
    std::filesystem::remove(in_dir.File("out.wav"));
    return output;
}
