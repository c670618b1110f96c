// qwfx's reading of the files a user gives it. Byte 0 odd: the rest is an audio file, read as
// render reads its input. Byte 0 even: the rest from byte 2 is a parameter file, read as
// --params reads it and handed to the parameter object of the effect byte 1 picks, and also
// parsed as NAME=VALUE settings.
#include <sys/mman.h>
#include <unistd.h>
#include <string>
#include "fuzz/fuzzhost.h"
#include "qwfx/lib/qwaudiofile.h"
#include "qwfx/lib/qwparamvalue.h"

namespace {

// A file in memory with a path, so nothing is left on disk.
std::string WriteMemoryFile(const uint8_t* in_pData, size_t in_uSize)
{
    static const int s_iFd = memfd_create("qwfx-fuzz", 0);
    if (s_iFd < 0 || ftruncate(s_iFd, 0) != 0)
        std::abort();
    for (size_t uDone = 0; uDone < in_uSize;) {
        const ssize_t sWritten = pwrite(s_iFd, in_pData + uDone, in_uSize - uDone, static_cast<off_t>(uDone));
        if (sWritten <= 0)
            std::abort();
        uDone += static_cast<size_t>(sWritten);
    }
    return "/proc/self/fd/" + std::to_string(s_iFd);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* in_pData, size_t in_uSize)
{
    if (in_uSize < 2)
        return 0;
    std::string sError;
    if (in_pData[0] & 1) {
        QwPlanarAudio audio;
        if (QwReadAudioFile(WriteMemoryFile(in_pData + 1, in_uSize - 1), audio, sError) &&
            (audio.NumChannels() == 0 || audio.uSampleRate == 0))
            std::abort();
        return 0;
    }
    std::vector<uint8_t> bytes;
    if (!QwReadBinaryFile(WriteMemoryFile(in_pData + 2, in_uSize - 2), bytes, sError))
        return 0;
    const QwPluginRegistration* pRecord = fuzzhost::Record(in_pData[1]);
    const QwEffectMeta& meta = *QwFindEffectMeta(pRecord->uPluginID);
    std::vector<QwParamSetting> settings;
    QwParseSettings(&meta, std::string(bytes.begin(), bytes.end()), settings, sError);
    QwHostAllocator allocator;
    QwEffectInstance instance(allocator);
    if (instance.CreateParams(*pRecord, bytes, meta.uBlockBytes) == QW_Success)
        for (const QwParamSetting& setting : settings)
            instance.SetParam(setting.pParam->uId, &setting.uBits, 4);
    fuzzhost::ReleaseBalanced(instance, allocator);
    return 0;
}
