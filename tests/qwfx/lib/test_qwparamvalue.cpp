// --set values typed by an effect's table: integers, choice names, floats, and the refusals.
#include <gtest/gtest.h>
#include <cstring>
#include "qwfx/lib/qwparamvalue.h"

namespace {

const char* const MODES[] = {"soft", "hard", "fold"};
const QwParamMeta PARAMS[] = {
    {0, "bypass", QwParamType::U32, 0.0, "", 0.0, 1.0, nullptr, 0},
    {3, "mode", QwParamType::U32, 1.0, "", 0.0, 2.0, MODES, 3},
    {7, "gain", QwParamType::F32, -6.0, "dB", -96.0, 24.0, nullptr, 0},
};
const QwEffectMeta EFFECT = {42, "test-effect", PARAMS, 3, 12, nullptr, nullptr, 0, nullptr};

float AsFloat(uint32_t in_uBits)
{
    float fValue;
    std::memcpy(&fValue, &in_uBits, sizeof(fValue));
    return fValue;
}

} // namespace

TEST(QwParamValue, ParsesByNameOrIdAndType)
{
    QwParamSetting setting;
    std::string sError;
    ASSERT_TRUE(QwParseSetting(&EFFECT, "bypass=1", setting, sError)) << sError;
    EXPECT_EQ(setting.pParam->uId, 0);
    EXPECT_EQ(setting.uBits, 1u);
    ASSERT_TRUE(QwParseSetting(&EFFECT, "3=fold", setting, sError)) << sError;
    EXPECT_EQ(setting.pParam->uId, 3);
    EXPECT_EQ(setting.uBits, 2u);
    ASSERT_TRUE(QwParseSetting(&EFFECT, "mode=4294967295", setting, sError)) << sError;
    EXPECT_EQ(setting.uBits, 0xFFFFFFFFu);
    ASSERT_TRUE(QwParseSetting(&EFFECT, "gain=-12.5", setting, sError)) << sError;
    EXPECT_EQ(AsFloat(setting.uBits), -12.5f);
    ASSERT_TRUE(QwParseSetting(&EFFECT, "7=1e-3", setting, sError)) << sError;
    EXPECT_EQ(AsFloat(setting.uBits), 0.001f);

    std::vector<QwParamSetting> settings;
    ASSERT_TRUE(QwParseSettings(&EFFECT, "  mode=soft gain=3   bypass=0 ", settings, sError)) << sError;
    ASSERT_EQ(settings.size(), 3u);
    EXPECT_EQ(settings[0].uBits, 0u);
    EXPECT_EQ(AsFloat(settings[1].uBits), 3.0f);
}

TEST(QwParamValue, RefusesWhatDoesNotParse)
{
    struct Case
    {
        const char* pszText;
        const char* pszInMessage;
    };
    const Case aCases[] = {
        {"volume=1", "unknown parameter 'volume'"},
        {"9=1", "unknown parameter '9'"},
        {"gain", "not NAME=VALUE"},
        {"=3", "not NAME=VALUE"},
        {"gain=abc", "bad value 'abc' for gain"},
        {"gain=", "bad value '' for gain"},
        {"gain=1.5dB", "bad value '1.5dB'"},
        {"gain=nan", "bad value 'nan'"},
        {"gain=1e50", "bad value '1e50'"},   // beyond float range
        {"bypass=1.5", "bad value '1.5' for bypass"},
        {"bypass=-1", "bad value '-1'"},
        {"bypass=4294967296", "bad value '4294967296'"},
        {"mode=Soft", "one of soft, hard, fold"},
    };
    for (const Case& c : aCases) {
        QwParamSetting setting;
        std::string sError;
        EXPECT_FALSE(QwParseSetting(&EFFECT, c.pszText, setting, sError)) << c.pszText;
        EXPECT_NE(sError.find(c.pszInMessage), std::string::npos) << c.pszText << ": " << sError;
    }
    // Without a table no name is known.
    QwParamSetting setting;
    std::string sError;
    EXPECT_FALSE(QwParseSetting(nullptr, "gain=1", setting, sError));
    EXPECT_NE(sError.find("no parameter table"), std::string::npos);
}
