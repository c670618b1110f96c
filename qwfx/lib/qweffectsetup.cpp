#include "qwfx/lib/qweffectsetup.h"
#include "qwfx/lib/qwpluginnames.h"
#include "qwfx/lib/qwresultcodes.h"

namespace {

// Without a table the block size is unknown; this covers the largest block of the module.
const uint32_t PARAM_PAD_WITHOUT_TABLE = 4096;

std::string Describe(QwResult in_eResult)
{
    return std::to_string(in_eResult) + " (" + QwResultMeaning(in_eResult) + ")";
}

} // namespace

std::string QwEffectDisplayName(uint32_t in_uPluginId)
{
    const char* pszName = QwShortNameForPluginId(in_uPluginId);
    return pszName ? pszName : "plug-in " + std::to_string(in_uPluginId);
}

bool QwPrepareEffect(QwEffectInstance& io_instance, const QwEffectSetup& in_setup, std::string& out_sError)
{
    const std::string sName = QwEffectDisplayName(in_setup.pRecord->uPluginID);
    const uint32_t uPad = in_setup.pMeta ? in_setup.pMeta->uBlockBytes : PARAM_PAD_WITHOUT_TABLE;
    QwResult eResult = io_instance.CreateParams(*in_setup.pRecord, in_setup.paramBlock, uPad);
    if (eResult != QW_Success) {
        out_sError = sName + ": creating the parameter object returned " + Describe(eResult);
        return false;
    }
    for (const QwParamSetting& setting : in_setup.settings) {
        eResult = io_instance.SetParam(setting.pParam->uId, &setting.uBits, sizeof(setting.uBits));
        if (eResult != QW_Success) {
            out_sError = sName + ": setting " + setting.pParam->pszName + " (id " +
                         std::to_string(setting.pParam->uId) + ") returned " + Describe(eResult);
            return false;
        }
    }
    eResult = io_instance.CreateEffect(*in_setup.pRecord, in_setup.format, in_setup.uBlockFrames, in_setup.media);
    if (eResult != QW_Success) {
        out_sError = sName + ": Init returned " + Describe(eResult);
        return false;
    }
    return true;
}
