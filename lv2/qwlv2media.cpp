#include "lv2/qwlv2media.h"
#include <cstring>
#include "qwfx/lib/qwaudiofile.h"
#include "qwfx/lib/qwboxmodel.h"

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

bool QwLv2ReverbModelFromRoomResponse(const std::string& in_sPath, uint32_t, std::vector<uint8_t>&,
                                      std::string& out_sError)
{
    out_sError = "'" + in_sPath + "' is an audio file; fitting a room response needs the reverb modeler, "
                 "which this build does not have: choose a model record (qwfx reverb-model)";
    return false;
}

bool QwLv2MediaFromFile(const QwEffectMeta& in_meta, uint32_t in_uSampleRate, const std::string& in_sPath,
                        std::vector<uint8_t>& out_media, std::string& out_sError)
{
    if (std::strcmp(in_meta.pszShortName, "box-modeler") == 0)
        return QwBoxModelFromFile(in_sPath, 0, 0.0f, out_media, out_sError);
    if (std::strcmp(in_meta.pszShortName, "reverb") != 0) {
        out_sError = std::string(in_meta.pszShortName) + " takes no media";
        return false;
    }
    std::vector<uint8_t> bytes;
    if (!QwReadBinaryFile(in_sPath, bytes, out_sError))
        return false;
    if (LooksLikeAudio(bytes))
        return QwLv2ReverbModelFromRoomResponse(in_sPath, in_uSampleRate, out_media, out_sError);
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
