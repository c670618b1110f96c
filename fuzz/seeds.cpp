// Writes the seed corpora of the fuzz targets: every effect's default and demo parameter block,
// synthetic reverb models, box models packed from a synthetic cabinet and from each impulse
// response given on the command line (cut short), and small audio files.
// Usage: fuzz_seeds OUTDIR [IR.wav]...
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include "qwfx/lib/qwaudiofile.h"
#include "qwfx/lib/qwboxmodel.h"
#include "qwfx/lib/qweffectmeta.h"
#include "qwfx/lib/qwparamvalue.h"
#include "qwfx/lib/qwreverbmodel.h"

namespace {

// Order of the effects in the fuzz targets' selector byte.
const uint32_t PLUGIN_ORDER[] = {2, 7, 4, 3, 5, 6, 9};
const size_t MAX_SEED_BYTES = 64 * 1024;
const size_t SEED_TAPS = 512;

void Write(const std::filesystem::path& in_path, const std::vector<uint8_t>& in_bytes)
{
    std::ofstream(in_path, std::ios::binary).write(reinterpret_cast<const char*>(in_bytes.data()), in_bytes.size());
}

// The packed block: every item 4 bytes, little-endian, in the order of the ids.
std::vector<uint8_t> PackBlock(const QwEffectMeta& in_meta, const std::vector<QwParamSetting>& in_settings)
{
    std::vector<uint8_t> block(in_meta.uBlockBytes, 0);
    for (uint32_t i = 0; i < in_meta.uParamCount; ++i) {
        const QwParamMeta& param = in_meta.pParams[i];
        uint32_t uBits = 0;
        if (param.eType == QwParamType::F32) {
            const float fValue = static_cast<float>(param.fDefault);
            std::memcpy(&uBits, &fValue, 4);
        } else {
            uBits = static_cast<uint32_t>(param.fDefault);
        }
        for (const QwParamSetting& setting : in_settings)
            if (setting.pParam == &param)
                uBits = setting.uBits;
        if (4u * param.uId + 4 <= block.size())
            std::memcpy(block.data() + 4 * param.uId, &uBits, 4);
    }
    return block;
}

std::vector<uint8_t> Prefixed(std::vector<uint8_t> in_prefix, const std::vector<uint8_t>& in_bytes)
{
    in_prefix.insert(in_prefix.end(), in_bytes.begin(), in_bytes.end());
    return in_prefix;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 2) {
        std::fprintf(stderr, "usage: fuzz_seeds OUTDIR [IR.wav]...\n");
        return 2;
    }
    const std::filesystem::path out = argv[1];
    for (const char* pszTarget : {"paramblock", "reverbmodel", "boxmodel", "qwfxfiles"})
        std::filesystem::create_directories(out / pszTarget);

    std::string sError;
    for (uint8_t i = 0; i < 7; ++i) {
        const QwEffectMeta& meta = *QwFindEffectMeta(PLUGIN_ORDER[i]);
        std::vector<QwParamSetting> demo;
        if (meta.pDemoPreset)
            QwParseSettings(&meta, meta.pDemoPreset->pszSettings, demo, sError);
        const std::vector<uint8_t> defaults = PackBlock(meta, {}), preset = PackBlock(meta, demo);
        const std::string sName = meta.pszShortName;
        Write(out / "paramblock" / (sName + "-defaults"), Prefixed({i, 3, 1}, defaults));
        Write(out / "paramblock" / (sName + "-demo-5.1"), Prefixed({i, 0x84, 4}, preset));
        Write(out / "qwfxfiles" / (sName + "-block"), Prefixed({0, i}, defaults));
        if (meta.pDemoPreset)
            Write(out / "qwfxfiles" / (sName + "-settings"),
                  Prefixed({0, i}, std::vector<uint8_t>(meta.pDemoPreset->pszSettings,
                                                        meta.pDemoPreset->pszSettings +
                                                            std::strlen(meta.pDemoPreset->pszSettings))));
    }

    Write(out / "reverbmodel" / "synthetic-20ms", QwWriteReverbModel(QwSyntheticReverbModel(48000, 20.0f, 1)));
    Write(out / "reverbmodel" / "synthetic-2ms", QwWriteReverbModel(QwSyntheticReverbModel(48000, 2.0f, 2)));

    std::vector<uint8_t> blob;
    QwPackBoxModel(QwSynthCabinet(48000, SEED_TAPS), -3.0f, blob, sError);
    Write(out / "boxmodel" / "synthetic-cabinet", blob);

    QwPlanarAudio audio(48000, 2, 64);
    for (size_t i = 0; i < 64; ++i)
        audio.channels[0][i] = audio.channels[1][63 - i] = static_cast<float>(i) / 64.0f;
    const std::string sWav = (out / "small.wav").string();
    if (QwWriteFloatWav(sWav, audio, sError)) {
        std::vector<uint8_t> bytes;
        QwReadBinaryFile(sWav, bytes, sError);
        Write(out / "qwfxfiles" / "small-float-wav", Prefixed({1}, bytes));
        std::filesystem::remove(sWav);
    }

    for (int i = 2; i < argc; ++i) {
        const std::string sStem = std::filesystem::path(argv[i]).stem().string();
        if (QwBoxModelFromFile(argv[i], 0, 0.0f, blob, sError)) {
            std::vector<float> taps((blob.size() - 8) / 4);
            std::memcpy(taps.data(), blob.data() + 8, 4 * taps.size());
            taps.resize(std::min(taps.size(), SEED_TAPS));
            QwPackBoxModel(taps, 0.0f, blob, sError);
            Write(out / "boxmodel" / sStem, blob);
        }
        std::vector<uint8_t> bytes;
        if (QwReadBinaryFile(argv[i], bytes, sError) && bytes.size() <= MAX_SEED_BYTES)
            Write(out / "qwfxfiles" / sStem, Prefixed({1}, bytes));
    }
    return 0;
}
