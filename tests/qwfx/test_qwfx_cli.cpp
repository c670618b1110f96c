// The qwfx program end to end against the real module: list, params, and the mistakes a
// user can make on the command line.
#include <gtest/gtest.h>
#include <algorithm>
#include <sstream>
#include "qwfx/lib/qweffectmeta.h"
#include "qwfx/lib/qwmodule.h"
#include "qwfx/qwfxe2e.h"

namespace {

const char* const SHORT_NAMES[10] = {nullptr, nullptr, "reverb", "distortion", "delay", "dynamics",
                                     "filters", "box-modeler", nullptr, "multiband-distortion"};

} // namespace

TEST(QwfxCli, ListShowsTheRecordsInWalkOrder)
{
    TestTempDir dir;
    const QwfxRunResult result = RunQwfx({"list"}, dir);
    ASSERT_EQ(result.iStatus, 0) << result.sErr;

    QwModule module;
    std::string sError;
    ASSERT_TRUE(module.Open(KVFX_MODULE_PATH, sError)) << sError;
    const size_t uRecords = module.Records().size();

    auto lines = result.OutLines();
    if (uRecords == 0) {
        EXPECT_TRUE(lines.empty());
        EXPECT_NE(result.sErr.find("registers no effect"), std::string::npos);
        return;
    }
    ASSERT_EQ(lines.size(), uRecords + 1) << result.sOut;   // a header, then one line a record
    // Whatever subset is registered, the walk meets it in the order 9, 6, 5, 3, 4, 7, 2.
    const std::vector<uint32_t> walkOrder = {9, 6, 5, 3, 4, 7, 2};
    size_t uNext = 0;
    for (size_t i = 1; i < lines.size(); ++i) {
        std::istringstream line(lines[i]);
        uint32_t uId = 0, uCompany = 0, uType = 0;
        std::string sName;
        ASSERT_TRUE(line >> uId >> uCompany >> uType >> sName) << lines[i];
        EXPECT_EQ(uCompany, 259u);
        EXPECT_EQ(uType, 3u);
        ASSERT_LT(uId, 10u);
        ASSERT_NE(SHORT_NAMES[uId], nullptr) << uId;
        EXPECT_EQ(sName, SHORT_NAMES[uId]);
        const auto it = std::find(walkOrder.begin() + uNext, walkOrder.end(), uId);
        ASSERT_NE(it, walkOrder.end()) << "plug-in " << uId << " out of walk order";
        uNext = static_cast<size_t>(it - walkOrder.begin()) + 1;
    }
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
    ExpectOneLineError(RunQwfx({"params", "chorus"}, dir), "unknown effect 'chorus'");
    ExpectOneLineError(RunQwfx({"params"}, dir), "usage");
}

TEST(QwfxCli, RenderMistakesGiveOneLineAndNoOutput)
{
    TestTempDir dir;
    const std::string sIn = WriteWav(dir, "in.wav", QwPlanarAudio(48000, 2, 4800));
    const std::string sOut = dir.File("out.wav");
    const std::pair<std::vector<std::string>, const char*> aMistakes[] = {
        {{dir.File("missing.wav"), sOut}, "missing.wav': No such file or directory"},
        {{sIn, sOut, "--layout", "5.1"}, "layout 5.1 has 6 channels but"},
        {{sIn, sOut, "--layout", "quad"}, "unknown layout 'quad'"},
        {{sIn, sOut, "--block", "0"}, "bad --block '0'"},
        {{sIn, sOut, "--block=70000"}, "bad --block '70000'"},
        {{sIn, sOut, "--max-tail", "-1"}, "bad --max-tail"},
        {{sIn, sOut, "--params", dir.File("none.bin")}, "none.bin"},
        {{sIn, sOut, "--wet"}, "unknown option '--wet'"},
        {{sIn, sOut, "--set"}, "--set needs a value"},
        {{sIn}, "usage"},
    };
    for (const auto& m : aMistakes) {
        std::vector<std::string> args = {"render", "dynamics"};
        args.insert(args.end(), m.first.begin(), m.first.end());
        ExpectOneLineError(RunQwfx(args, dir), m.second, sOut);
    }
    ExpectOneLineError(RunQwfx({"render", "chorus", sIn, sOut}, dir), "unknown effect 'chorus'", sOut);
    ExpectOneLineError(RunQwfx({"--module", dir.File("nomodule.so"), "list"}, dir), "cannot load module");
    ExpectOneLineError(RunQwfx({"frobnicate"}, dir), "unknown command 'frobnicate'");
}
