// The qwfx program end to end against the real module: list, params, and the mistakes a
// user can make on the command line.
#include <gtest/gtest.h>
#include <cstring>
#include <sstream>
#include "qwfx/lib/qweffectmeta.h"
#include "qwfx/lib/qwreverbmodel.h"
#include "qwfx/qwfxe2e.h"
#include "support/dspreference.h"
#include "support/testboxmodel.h"

namespace {

const char* const SHORT_NAMES[10] = {nullptr, nullptr, "reverb", "distortion", "delay", "dynamics",
                                     "filters", "box-modeler", nullptr, "multiband-distortion"};

} // namespace

// One line a record after the header, in the module's walk order.
TEST(QwfxCli, ListShowsTheRecordsInWalkOrder)
{
    TestTempDir dir;
    const QwfxRunResult result = RunQwfx({"list"}, dir);
    ASSERT_EQ(result.iStatus, 0) << result.sErr;
    std::vector<std::string> rows;
    for (const std::string& sLine : result.OutLines()) {
        std::istringstream line(sLine);
        std::string sId, sCompany, sType, sName;
        line >> sId >> sCompany >> sType >> sName;
        rows.push_back(sId + " " + sCompany + " " + sType + " " + sName);
    }
    std::vector<std::string> expected = {"plugin company type name"};
    for (uint32_t uId : {9, 6, 5, 3, 4, 7, 2})
        expected.push_back(std::to_string(uId) + " 259 3 " + SHORT_NAMES[uId]);
    EXPECT_EQ(rows, expected);
}

TEST(QwfxCli, ParamsPrintsEachTableRow)
{
    TestTempDir dir;
    for (const QwEffectMeta* pMeta : QwAllEffectMeta()) {
        EXPECT_STREQ(pMeta->pszShortName, SHORT_NAMES[pMeta->uPluginId]);
        for (const std::string& sName : {std::string(pMeta->pszShortName), std::to_string(pMeta->uPluginId)}) {
            const QwfxRunResult result = RunQwfx({"params", sName}, dir);
            ASSERT_EQ(result.iStatus, 0) << result.sErr;
            const auto lines = result.OutLines();
            ASSERT_GE(lines.size(), pMeta->uParamCount + 2u) << result.sOut;   // title, header, rows
            for (uint32_t i = 0; i < pMeta->uParamCount; ++i) {
                std::istringstream line(lines[i + 2]);
                uint32_t uId = 0;
                std::string sParam, sType;
                ASSERT_TRUE(line >> uId >> sParam >> sType);
                EXPECT_EQ(uId, pMeta->pParams[i].uId);
                EXPECT_EQ(sParam, pMeta->pParams[i].pszName);
                EXPECT_EQ(sType, pMeta->pParams[i].eType == QwParamType::U32 ? "u32" : "f32");
            }
        }
    }
}

// Every command's refusals: the exit status (0: any but 0), nothing on stdout, exactly one
// line on stderr that names the problem, and no file written.
TEST(QwfxCli, MistakesGiveOneLineAndWriteNothing)
{
    TestTempDir dir;
    const std::string sIn = WriteWav(dir, "in.wav", QwPlanarAudio(48000, 2, 4800)), sOut = dir.File("out.wav");
    QwPlanarAudio shortRoom(48000, 2, 2399);
    shortRoom.channels[0][0] = 1.0f;
    const std::string sThree = WriteWav(dir, "three.wav", SyntheticRoom(3)), sShort = WriteWav(dir, "short.wav", shortRoom);
    const std::string sSilence = WriteWav(dir, "silence.wav", QwPlanarAudio(48000, 2, 48000));
    const std::string sEmpty = WriteWav(dir, "empty.wav", QwPlanarAudio(48000, 1, 0));
    const std::string sHuge = WriteWav(dir, "huge.wav", QwPlanarAudio(48000, 1, 1000001));
    const std::string sCabinet = std::string(KVFX_SOURCE_DIR) + "/qwfx/data/bass-combo-a-44k.wav";
    // A reverb record one byte short: Init refuses it after the list of the assertions it fired.
    const std::vector<uint8_t> record = QwWriteReverbModel(QwSyntheticReverbModel(48000, 20.0f));
    const std::string sRecord = WriteBytes(dir, "short.bin", record.data(), record.size() - 1);
    // Media records whose count asks for far more than their bytes hold: the box modeler trusts
    // its tap count, so the memory budget refuses the taps (16 GB; exactly 1 GB, past the default;
    // 76.3 MB, past 64); the reverb checks the record's size against its counts and refuses it.
    const auto Patched = [&](const char* in_pszName, std::vector<uint8_t> in_record, size_t in_uAt, uint32_t in_uCount) {
        std::memcpy(in_record.data() + in_uAt, &in_uCount, 4);
        return WriteBytes(dir, in_pszName, in_record.data(), in_record.size());
    };
    const std::vector<uint8_t> box = MakeBoxModelBlob(0.0f, RefNoise(2048, 1));
    const std::string sBox16G = Patched("b1.bin", box, 4, 0xFFFFFFFFu), sBox1G = Patched("b2.bin", box, 4, 0x10000000u);
    const std::string sBox76M = Patched("b3.bin", box, 4, 20000000u), sReverbHuge = Patched("r1.bin", record, 28, 0xFFFFFFFFu);
    const std::string sReverb2 = Patched("r2.bin", record, 28, 2u);
    const std::string sOom = "Init returned 52 (out of memory, or plug-in media that could not be applied); ";
    // The stand-in module's Init answers its block's second word; flags 1 asks for media.
    const auto Fake = [&](const char* in_pszName, uint32_t in_uInit, uint32_t in_uFlags) {
        const uint32_t auBlock[4] = {0x3F800000u, in_uInit, 0, in_uFlags};
        return WriteBytes(dir, in_pszName, auBlock, sizeof auBlock);
    };
    const std::string sFake52 = Fake("f1.bin", 52, 0), sFake78 = Fake("f2.bin", 78, 0), sFake79 = Fake("f3.bin", 1, 1);
    const std::string sMissing = dir.File("none.wav");
    struct Case
    {
        std::vector<std::string> args;
        std::string sText;
        int iStatus;
    };
    const Case aCases[] = {
        {{"frobnicate"}, "unknown command 'frobnicate'", 0},
        {{"--module", dir.File("nomodule.so"), "list"}, "cannot load module", 0},
        {{"params", "chorus"}, "unknown effect 'chorus'", 0},
        {{"params"}, "usage", 0},
        {{"render", "chorus", sIn, sOut}, "unknown effect 'chorus'", 0},
        {{"render", "dynamics", sMissing, sOut}, "none.wav': No such file or directory", 0},
        {{"render", "dynamics", sIn, sOut, "--layout", "5.1"}, "layout 5.1 has 6 channels but", 0},
        {{"render", "dynamics", sIn, sOut, "--layout", "quad"}, "unknown layout 'quad'", 0},
        {{"render", "dynamics", sIn, sOut, "--block", "0"}, "bad --block '0'", 0},
        {{"render", "dynamics", sIn, sOut, "--block=70000"}, "bad --block '70000'", 0},
        {{"render", "dynamics", sIn, sOut, "--max-tail", "-1"}, "bad --max-tail", 0},
        {{"render", "dynamics", sIn, sOut, "--params", dir.File("none.bin")}, "none.bin", 0},
        {{"render", "dynamics", sIn, sOut, "--wet"}, "unknown option '--wet'", 0},
        {{"render", "dynamics", sIn, sOut, "--set"}, "--set needs a value", 0},
        {{"render", "dynamics", sIn}, "usage", 0},
        {{"render", "distortion", sIn, sOut, "--set", "algorithm1=fuzzz"}, "fuzzz", 0},
        {{"render", "box-modeler", sIn, sOut, "--ir", sMissing}, "none.wav", 0},
        {{"render", "reverb", sIn, sOut}, "Init returned 79", 0},
        {{"render", "reverb", sIn, sOut, "--media", sRecord}, "Init returned 52", 0},
        {{"render", "reverb", sThree, sOut, "--ir", sThree}, "--channels A,B", 0},
        {{"render", "reverb", sThree, sOut, "--ir", sThree, "--channels", "x"}, "bad --channels", 0},
        {{"--module", QWFX_FAKE_MODULE_PATH, "render", "reverb", sIn, sOut}, "effect 'reverb' (plug-in 2) is not registered", 0},
        {{"--module", QWFX_FAKE_MODULE_PATH, "render", "8", sIn, sOut, "--params", sFake52}, "Init returned 52 (out of memory", 1},
        {{"--module", QWFX_FAKE_MODULE_PATH, "render", "8", sIn, sOut, "--params", sFake78},
         "Init returned 78 (unsupported channel configuration)", 1},
        {{"--module", QWFX_FAKE_MODULE_PATH, "render", "8", sIn, sOut, "--params", sFake79},
         "Init returned 79 (required plug-in media missing or empty)", 1},
        {{"render", "box-modeler", sIn, sOut, "--media", sBox16G},
         sOom + "the memory limit of 1024 MB refused 1 request, the largest for 16384.0 MB", 1},
        {{"render", "box-modeler", sIn, sOut, "--media", sBox1G},
         sOom + "the memory limit of 1024 MB refused 1 request, the largest for 1024.0 MB", 1},
        {{"render", "box-modeler", sIn, sOut, "--media", sBox76M, "--memory-limit", "64"},
         sOom + "the memory limit of 64 MB refused 1 request, the largest for 76.3 MB", 1},
        {{"render", "reverb", sIn, sOut, "--media", sReverbHuge}, sOom + "1 assertion fired, first \"false\"", 1},
        {{"render", "reverb", sIn, sOut, "--media", sReverb2}, sOom + "1 assertion fired, first \"false\"", 1},
        {{"model-reverb", sMissing, "-o", sOut}, "none.wav", 0},
        {{"model-reverb", sThree, "-o", sOut}, "--channels A,B", 0},
        {{"model-reverb", sThree, "-o", sOut, "--channels", "0;1"}, "bad --channels '0;1'", 0},
        {{"model-reverb", sThree, "-o", sOut, "--channels", "1,"}, "bad --channels '1,'", 0},
        {{"model-reverb", sThree, "-o", sOut, "--channels", "0,3"}, "channel 3 does not exist", 0},
        {{"model-reverb", sThree, "-o", sOut, "--order", "12"}, "bad --order", 0},
        {{"model-reverb", sThree}, "usage", 0},
        {{"model-reverb", sShort, "-o", sOut}, "2399 samples long; the fit needs at least 50 ms", 0},
        {{"model-reverb", sSilence, "-o", sOut}, "silent", 0},
        {{"reverb-model", "-o", sOut, "--decay", "7"}, "", 0},
        {{"box-model", sMissing, "-o", sOut}, "none.wav", 0},
        {{"box-model", sCabinet, "-o", sOut, "--channel", "1"}, "channel 1", 0},
        {{"box-model", sCabinet}, "usage", 0},
        {{"box-model", sEmpty, "-o", sOut}, "empty", 0},
        {{"box-model", sHuge, "-o", sOut}, "1000001 taps", 0},
        {{"transients", sMissing, "--csv", sOut}, "none.wav", 0},
        {{"transients", sIn, "--order", "0", "--csv", sOut}, "--order", 0},
        {{"transients", sIn, "--order", "40", "--frame", "1", "--csv", sOut}, "too short for order 40", 0},
        {{"transients", sIn, "--frame", "abc", "--csv", sOut}, "--frame", 0},
        {{"transients", sIn, "--loud", "--csv", sOut}, "unknown option '--loud'", 0},
        {{"transients", sIn, "--csv"}, "--csv needs a value", 0},
        {{"transients", sIn, "--csv", dir.File("no/such/dir.csv")}, "cannot write", 0},
        {{"transients"}, "usage", 0},
        {{"curve"}, "", 2},
        {{"curve", "48"}, "", 2},
        {{"curve", "noise"}, "", 2},
        {{"curve", "1", "--drive", "x"}, "", 2},
        {{"curve", "1", "--level", "3"}, "", 2},
        {{"curve", "all"}, "", 2},
        {{"response", "filters", "--rate", "12"}, "", 2},
        {{"response", "filters", "--set", "f1-type=bogus"}, "", 2},
        {{"response"}, "", 2},
        {{"stress", "--seconds=0"}, "", 2},
        {{"stress", "--seed=-1"}, "", 2},
        {{"stress", "--bogus"}, "", 2},
        {{"stress", "no-such-effect"}, "", 2},
        {{"bench", "dynamics", "--block", "0"}, "", 2},
        {{"bench", "dynamics", "--block", "65536"}, "", 2},
        {{"bench", "dynamics", "--block", "-4"}, "", 2},
        {{"bench", "dynamics", "--block", "12x"}, "", 2},
        {{"bench", "dynamics", "--block", ""}, "", 2},
    };
    const auto Files = [&] { return std::distance(std::filesystem::recursive_directory_iterator(dir.path), {}); };
    const auto uFiles = Files();
    for (const Case& c : aCases) {
        const QwfxRunResult result = RunQwfx(c.args, dir);
        SCOPED_TRACE(c.args[0] + " " + c.sText);
        EXPECT_TRUE(c.iStatus == 0 ? result.iStatus != 0 : result.iStatus == c.iStatus) << result.iStatus;
        EXPECT_EQ(result.sOut, "");
        const std::vector<std::string> lines = result.ErrLines();
        ASSERT_EQ(lines.size(), 1u) << result.sErr;
        EXPECT_EQ(lines[0].rfind("qwfx: ", 0), 0u) << lines[0];
        EXPECT_NE(lines[0].find(c.sText), std::string::npos) << lines[0];
        EXPECT_EQ(Files(), uFiles);
    }
    // With the pair named, a wide response fits; the box record with its true count renders
    // under a budget of 8 MB.
    EXPECT_EQ(RunQwfx({"model-reverb", sThree, "-o", sOut, "--channels", "2,0"}, dir).iStatus, 0);
    const std::string sBox = WriteBytes(dir, "box.bin", box.data(), box.size());
    EXPECT_EQ(RunQwfx({"render", "box-modeler", sIn, sOut, "--media", sBox, "--memory-limit", "8"}, dir).iStatus, 0);
}
