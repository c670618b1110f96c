#include "qwfx/lib/qwaudiofile.h"
#include <sndfile.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <cstdio>
#include <cstring>

namespace {

// A clearer reason than libsndfile's for the usual mistakes: no file, a folder, no access.
bool CheckReadable(const std::string& in_sPath, std::string& out_sError)
{
    struct stat info;
    if (stat(in_sPath.c_str(), &info) != 0) {
        out_sError = "cannot read '" + in_sPath + "': " + std::strerror(errno);
        return false;
    }
    if (S_ISDIR(info.st_mode)) {
        out_sError = "cannot read '" + in_sPath + "': it is a directory";
        return false;
    }
    if (access(in_sPath.c_str(), R_OK) != 0) {
        out_sError = "cannot read '" + in_sPath + "': " + std::strerror(errno);
        return false;
    }
    return true;
}

} // namespace

bool QwReadAudioFile(const std::string& in_sPath, QwPlanarAudio& out_audio, std::string& out_sError)
{
    if (!CheckReadable(in_sPath, out_sError))
        return false;
    SF_INFO info;
    std::memset(&info, 0, sizeof(info));
    SNDFILE* pFile = sf_open(in_sPath.c_str(), SFM_READ, &info);
    if (!pFile) {
        out_sError = "cannot read '" + in_sPath + "' as audio: " + sf_strerror(nullptr);
        return false;
    }
    if (info.channels <= 0 || info.channels > 255 || info.samplerate <= 0) {
        out_sError = "cannot use '" + in_sPath + "': " + std::to_string(info.channels) + " channels at " +
                     std::to_string(info.samplerate) + " Hz";
        sf_close(pFile);
        return false;
    }
    std::vector<float> samples(static_cast<size_t>(info.frames) * static_cast<size_t>(info.channels));
    const sf_count_t uRead = samples.empty() ? 0 : sf_readf_float(pFile, samples.data(), info.frames);
    sf_close(pFile);
    if (uRead < info.frames) {
        out_sError = "cannot read '" + in_sPath + "': file ends after " + std::to_string(uRead) + " of " +
                     std::to_string(info.frames) + " frames";
        return false;
    }
    out_audio.uSampleRate = static_cast<uint32_t>(info.samplerate);
    out_audio.FromInterleaved(samples.data(), static_cast<uint32_t>(info.channels), static_cast<size_t>(info.frames));
    return true;
}

bool QwWriteFloatWav(const std::string& in_sPath, const QwPlanarAudio& in_audio, std::string& out_sError)
{
    const std::string sTemp = in_sPath + ".partial-" + std::to_string(getpid());
    SF_INFO info;
    std::memset(&info, 0, sizeof(info));
    info.samplerate = static_cast<int>(in_audio.uSampleRate);
    info.channels = static_cast<int>(in_audio.NumChannels());
    info.format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
    SNDFILE* pFile = sf_open(sTemp.c_str(), SFM_WRITE, &info);
    if (!pFile) {
        out_sError = "cannot write '" + in_sPath + "': " + sf_strerror(nullptr);
        return false;
    }
    const std::vector<float> samples = in_audio.ToInterleaved();
    const sf_count_t uFrames = static_cast<sf_count_t>(in_audio.NumFrames());
    const sf_count_t uWritten = uFrames ? sf_writef_float(pFile, samples.data(), uFrames) : 0;
    const std::string sWriteError = sf_strerror(pFile);
    const int iCloseError = sf_close(pFile);
    if (uWritten != uFrames || iCloseError != 0) {
        out_sError = "cannot write '" + in_sPath + "': " + sWriteError;
        std::remove(sTemp.c_str());
        return false;
    }
    if (std::rename(sTemp.c_str(), in_sPath.c_str()) != 0) {
        out_sError = "cannot write '" + in_sPath + "': " + std::strerror(errno);
        std::remove(sTemp.c_str());
        return false;
    }
    return true;
}

bool QwReadBinaryFile(const std::string& in_sPath, std::vector<uint8_t>& out_bytes, std::string& out_sError)
{
    if (!CheckReadable(in_sPath, out_sError))
        return false;
    std::FILE* pFile = std::fopen(in_sPath.c_str(), "rb");
    if (!pFile) {
        out_sError = "cannot read '" + in_sPath + "': " + std::strerror(errno);
        return false;
    }
    out_bytes.clear();
    uint8_t aChunk[65536];
    size_t uRead;
    while ((uRead = std::fread(aChunk, 1, sizeof(aChunk), pFile)) > 0)
        out_bytes.insert(out_bytes.end(), aChunk, aChunk + uRead);
    const bool bError = std::ferror(pFile) != 0;
    std::fclose(pFile);
    if (bError) {
        out_sError = "cannot read '" + in_sPath + "': read error";
        return false;
    }
    return true;
}
