#include "lv2/qwlv2media.h"
#include <cstring>
#include "qwfx/lib/qwaudiofile.h"
#include "qwfx/lib/qwboxmodel.h"
#include "qwfx/lib/qwreverbfit.h"
#include "qwfx/lib/qwreverbmodel.h"

namespace {

uint32_t GetU32(const std::vector<uint8_t>& in_bytes, size_t in_uAt)
{
    uint32_t u = 0;
    for (int i = 0; i < 4; ++i)
        u |= static_cast<uint32_t>(in_bytes[in_uAt + i]) << (8 * i);
    return u;
}

// RIFF/WAVE, RF64, AIFF, FLAC and Ogg: what a room response comes in.
bool LooksLikeAudio(const std::vector<uint8_t>& in_bytes)
{
    static const char* const s_apszMagic[] = {"RIFF", "RF64", "FORM", "fLaC", "OggS"};
    for (const char* pszMagic : s_apszMagic)
        if (in_bytes.size() >= 4 && std::memcmp(in_bytes.data(), pszMagic, 4) == 0)
            return true;
    return false;
}

} // namespace

uint32_t QwLv2ReverbOrder(const QwEffectMeta& in_meta, const std::vector<uint32_t>& in_values)
{
    for (uint32_t i = 0; i < in_meta.uParamCount && i < in_values.size(); ++i)
        if (std::strcmp(in_meta.pParams[i].pszName, "order") == 0)
            return QwReverbOrder(in_values[i]);
    return QwReverbOrder(16);
}

bool QwLv2MediaFromFile(const QwEffectMeta& in_meta, uint32_t in_uSampleRate, const std::vector<uint32_t>& in_values,
                        const std::string& in_sPath, std::vector<uint8_t>& out_media, bool& out_bFitted,
                        std::vector<std::string>& out_notes, std::string& out_sError)
{
    out_bFitted = false;
    if (std::strcmp(in_meta.pszShortName, "box-modeler") == 0)
        return QwBoxModelFromFile(in_sPath, 0, 0.0f, out_media, out_sError);
    if (std::strcmp(in_meta.pszShortName, "reverb") != 0) {
        out_sError = std::string(in_meta.pszShortName) + " takes no media";
        return false;
    }
    std::vector<uint8_t> bytes;
    if (!QwReadBinaryFile(in_sPath, bytes, out_sError))
        return false;
    if (LooksLikeAudio(bytes)) {
        // A measured room: fitted here, at its own rate, which must be the host's since the
        // model's filters count samples.
        QwReverbFit fit;
        if (!QwFitReverbFile(in_sPath, nullptr, QwLv2ReverbOrder(in_meta, in_values), fit, out_sError))
            return false;
        if (fit.uSampleRate != in_uSampleRate) {
            out_sError = "'" + in_sPath + "' is at " + std::to_string(fit.uSampleRate) + " Hz but the host runs at " +
                         std::to_string(in_uSampleRate) + " Hz: the model plays at the rate it was fitted";
            return false;
        }
        out_notes = fit.warnings;
        out_media = QwWriteReverbModel(fit.model);
        out_bFitted = true;
        return true;
    }
    // 28 bytes of values, then two lengths, each followed by two channels of that many floats.
    bool bValid = bytes.size() >= 36;
    const uint64_t uN1 = bValid ? GetU32(bytes, 28) : 0;
    bValid = bValid && bytes.size() >= 36 + 8 * uN1;
    const uint64_t uN2 = bValid ? GetU32(bytes, 32 + 8 * uN1) : 0;
    if (!bValid || bytes.size() != 36 + 8 * uN1 + 8 * uN2) {
        out_sError = "'" + in_sPath + "' is not a reverb model record (" + std::to_string(bytes.size()) + " bytes)";
        return false;
    }
    out_media = std::move(bytes);
    return true;
}
