// Our effects beside the best LV2 peer of each kind, in one loop on the same programme.
//
// Ours run through the module and the host's render loop exactly as qwfx bench runs them;
// each peer runs in-process through lilv with the same block length, stereo, 48 kHz. The
// machine may be shared, so the two sides of a pair alternate repetition by repetition and
// the medians are compared. Peers that are not installed are left out.
//
//   kvfx_bench_peers [--block N] [--seconds S] [--reps R] [--module PATH] [--only WORD] [--ours]
//
// --only keeps the rows whose kind or preset is WORD; --ours times our side alone (for
// profiles, where the peers would only add to the count).
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>
#include "lv2/qwlv2host.h"
#include "qwfx/lib/qwassertlog.h"
#include "qwfx/lib/qwbenchrun.h"
#include "qwfx/lib/qwcputimer.h"
#include "qwfx/lib/qweffectmeta.h"
#include "qwfx/lib/qwmodule.h"
#include "qwfx/lib/qwpluginnames.h"
#include "qwfx/lib/qwprogramme.h"

namespace {

const uint32_t RATE = 48000;

struct PeerSetting
{
    const char* pszSymbol;
    float fValue;
};

struct Pair
{
    const char* pszKind;
    const char* pszEffect;   // our short name
    const char* pszPreset;   // one of its bench presets
    const char* pszPeer;     // how the peer is called in the table
    const char* pszUri;
    std::vector<PeerSetting> settings;
};

// Peers at the settings of the comparison: anything not named stays at its default.
std::vector<Pair> Pairs()
{
    const std::vector<PeerSetting> darc = {{"threshold", -30.0f}, {"Ratio", 0.5f}};
    const std::vector<PeerSetting> lspComp = {{"at", 0.1f}, {"cr", 4.0f}};
    // Filter types: 5 low shelf, 1 bell, 3 high shelf; gains are linear.
    const std::vector<PeerSetting> eq = {{"ft_0", 5.0f}, {"f_0", 80.0f},   {"ft_1", 1.0f}, {"f_1", 1000.0f},
                                         {"g_1", 2.0f},  {"q_1", 1.0f},    {"ft_2", 3.0f}, {"f_2", 8000.0f}};
    const std::vector<PeerSetting> artDelay = {{"on0", 1.0f}, {"dadd0", 0.25f}, {"eq0", 1.0f},   {"lc0", 1.0f},
                                               {"hc0", 1.0f}, {"fbe0", 1.0f},   {"fbg0", 0.5f}, {"fbadd0", 0.25f}};
    // Split points 1 and 2 only (the others off): three bands, each attack 0.1 ms, ratio 4.
    std::vector<PeerSetting> mb = {{"mode", 0.0f}, {"cbe_1", 1.0f}, {"sf_1", 250.0f}, {"cbe_2", 1.0f},
                                   {"sf_2", 2500.0f}};
    for (const char* pszOff : {"cbe_3", "cbe_4", "cbe_5", "cbe_6", "cbe_7"})
        mb.push_back({pszOff, 0.0f});
    static const char* const s_attack[] = {"at_0", "at_1", "at_2"};
    static const char* const s_ratio[] = {"cr_0", "cr_1", "cr_2"};
    for (int b = 0; b < 3; ++b) {
        mb.push_back({s_attack[b], 0.1f});
        mb.push_back({s_ratio[b], 4.0f});
    }
    const char* const pszDarc = "http://gareus.org/oss/lv2/darc#stereo";
    const char* const pszComp = "http://lsp-plug.in/plugins/lv2/compressor_stereo";
    const char* const pszEq = "http://lsp-plug.in/plugins/lv2/para_equalizer_x16_stereo";
    const char* const pszArt = "http://lsp-plug.in/plugins/lv2/art_delay_stereo";
    const char* const pszRoom = "urn:dragonfly:room";
    const char* const pszMb = "http://lsp-plug.in/plugins/lv2/mb_compressor_stereo";
    std::vector<Pair> pairs = {
        {"dynamics", "dynamics", "comp-exp-every-sample", "x42 darc", pszDarc, darc},
        {"dynamics", "dynamics", "comp-exp-every-sample", "LSP compressor", pszComp, lspComp},
        {"filters", "filters", "static-biquads", "LSP para EQ x16", pszEq, eq},
    };
    for (const char* pszMode : {"sine", "soft-sine", "knee", "bits-magnitude", "bits-twos", "clean"})
        pairs.push_back({"delay", "delay", pszMode, "LSP art delay", pszArt, artDelay});
    pairs.push_back({"reverb", "reverb", "stereo-order-16", "Dragonfly Room", pszRoom, {}});
    pairs.push_back({"reverb", "reverb", "5.1-order-16", "Dragonfly Room", pszRoom, {}});
    pairs.push_back({"multiband", "multiband-distortion", "six-slots", "LSP MB comp 3 IIR", pszMb, mb});
    return pairs;
}

double Median(std::vector<double> io_values)
{
    std::sort(io_values.begin(), io_values.end());
    const size_t n = io_values.size();
    return n % 2 ? io_values[n / 2] : 0.5 * (io_values[n / 2 - 1] + io_values[n / 2]);
}

// CPU seconds for one pass of the peer over the programme, block by block.
double TimePeer(QwLv2Instance& io_peer, const QwPlanarAudio& in_programme, uint32_t in_uBlock,
                std::vector<std::vector<float>>& io_out)
{
    const size_t uFrames = in_programme.NumFrames();
    const uint32_t uIn = io_peer.AudioInputs();
    const uint32_t uOut = io_peer.AudioOutputs();
    std::vector<const float*> in(uIn);
    std::vector<float*> out(uOut);
    for (uint32_t c = 0; c < uOut; ++c)
        out[c] = io_out[c].data();
    const QwCpuTimer timer;
    for (size_t uStart = 0; uStart < uFrames; uStart += in_uBlock) {
        const uint32_t uRun = static_cast<uint32_t>(std::min<size_t>(in_uBlock, uFrames - uStart));
        for (uint32_t c = 0; c < uIn; ++c)
            in[c] = in_programme.channels[c % in_programme.NumChannels()].data() + uStart;
        io_peer.Run(in.data(), out.data(), uRun);
    }
    return timer.Seconds();
}

bool TakeValue(int in_iArgc, char** in_ppArgv, int& io_i, const char* in_pszName, std::string& out_sValue)
{
    if (std::strcmp(in_ppArgv[io_i], in_pszName) != 0)
        return false;
    if (io_i + 1 >= in_iArgc) {
        std::fprintf(stderr, "kvfx_bench_peers: option %s needs a value\n", in_pszName);
        std::exit(2);
    }
    out_sValue = in_ppArgv[++io_i];
    return true;
}

long ParseWhole(const std::string& in_sText, const char* in_pszName, long in_iMin, long in_iMax)
{
    char* pEnd = nullptr;
    const long iValue = std::strtol(in_sText.c_str(), &pEnd, 10);
    if (in_sText.empty() || *pEnd != '\0' || iValue < in_iMin || iValue > in_iMax) {
        std::fprintf(stderr, "kvfx_bench_peers: bad %s '%s': expected %ld to %ld\n", in_pszName, in_sText.c_str(),
                     in_iMin, in_iMax);
        std::exit(2);
    }
    return iValue;
}

} // namespace

int main(int argc, char** argv)
{
    std::string sBlock = "512", sSeconds = "4", sReps = "5", sModule = KVFX_MODULE_PATH, sOnly;
    bool bOursOnly = false;
    for (int i = 1; i < argc; ++i) {
        if (TakeValue(argc, argv, i, "--block", sBlock) || TakeValue(argc, argv, i, "--seconds", sSeconds) ||
            TakeValue(argc, argv, i, "--reps", sReps) || TakeValue(argc, argv, i, "--module", sModule) ||
            TakeValue(argc, argv, i, "--only", sOnly))
            continue;
        if (std::strcmp(argv[i], "--ours") == 0) {
            bOursOnly = true;
            continue;
        }
        std::fprintf(stderr, "usage: kvfx_bench_peers [--block N] [--seconds S] [--reps R] [--module PATH] "
                             "[--only WORD] [--ours]\n");
        return 2;
    }
    const uint16_t uBlock = static_cast<uint16_t>(ParseWhole(sBlock, "--block", 1, 8192));
    const long iSeconds = ParseWhole(sSeconds, "--seconds", 1, 600);
    const long iReps = ParseWhole(sReps, "--reps", 1, 99);

    QwModule module;
    std::string sError;
    if (!module.Open(sModule, sError)) {
        std::fprintf(stderr, "kvfx_bench_peers: %s\n", sError.c_str());
        return 1;
    }
    QwAssertLog asserts;
    module.SetAssertHook(&QwAssertLog::Hook);
    QwLv2World world;
    if (!bOursOnly)
        world.LoadAll();

    std::printf("block %u, %ld s of programme per pass, median of %ld alternating passes; real-time = audio "
                "seconds per CPU second\n",
                uBlock, iSeconds, iReps);
    std::printf("%-9s %-22s %10s   %-18s %10s %8s\n", "kind", "ours (preset)", "RTF", "peer", "RTF", "ratio");
    QwPlanarAudio programmes[9];
    std::string sLastPreset;
    for (const Pair& pair : Pairs()) {
        if (!sOnly.empty() && sOnly != pair.pszPreset && sOnly != pair.pszKind)
            continue;
        if (bOursOnly && pair.pszPreset == sLastPreset)
            continue; // a second peer of the same preset
        sLastPreset = pair.pszPreset;
        uint32_t uId = 0;
        const QwPluginRegistration* pRecord = QwPluginIdFromName(pair.pszEffect, uId) ? module.Find(uId) : nullptr;
        const QwEffectMeta* pMeta = pRecord ? QwFindEffectMeta(uId) : nullptr;
        const QwPresetMeta* pPreset = nullptr;
        for (uint32_t p = 0; pMeta && p < pMeta->uBenchPresetCount; ++p)
            if (std::strcmp(pMeta->pBenchPresets[p].pszName, pair.pszPreset) == 0)
                pPreset = &pMeta->pBenchPresets[p];
        if (!pPreset) {
            std::printf("%-9s %s %s: not in this module, left out\n", pair.pszKind, pair.pszEffect, pair.pszPreset);
            continue;
        }
        if (bOursOnly) {
            QwBenchRun ours;
            if (!ours.Prepare(*pRecord, pMeta, *pPreset, RATE, uBlock, sError)) {
                std::printf("%-9s %-22s failed: %s\n", pair.pszKind, pair.pszPreset, sError.c_str());
                continue;
            }
            QwPlanarAudio programme = QwMakeBenchProgramme(RATE, static_cast<double>(iSeconds), ours.Layout().uChannels);
            std::vector<double> oursRtf;
            for (long r = 0; r < iReps; ++r)
                oursRtf.push_back(static_cast<double>(iSeconds) / ours.Time(programme));
            std::printf("%-9s %-22s %9.0fx\n", pair.pszKind, pair.pszPreset, Median(oursRtf));
            continue;
        }
        if (!world.Find(pair.pszUri)) {
            std::printf("%-9s %-22s %10s   %-18s (not installed, left out)\n", pair.pszKind, pair.pszPreset, "",
                        pair.pszPeer);
            continue;
        }
        QwBenchRun ours;
        if (!ours.Prepare(*pRecord, pMeta, *pPreset, RATE, uBlock, sError)) {
            std::printf("%-9s %-22s failed: %s\n", pair.pszKind, pair.pszPreset, sError.c_str());
            continue;
        }
        QwLv2HostSettings settings;
        settings.fSampleRate = RATE;
        settings.uMaxBlockFrames = uBlock;
        settings.uNominalBlockFrames = uBlock;
        QwLv2Instance peer(world);
        if (!peer.Open(pair.pszUri, settings, sError)) {
            std::printf("%-9s %-22s peer %s failed: %s\n", pair.pszKind, pair.pszPreset, pair.pszPeer, sError.c_str());
            continue;
        }
        bool bSettingsOk = true;
        for (const PeerSetting& setting : pair.settings)
            bSettingsOk = peer.SetControl(setting.pszSymbol, setting.fValue) && bSettingsOk;
        if (!bSettingsOk) {
            std::printf("%-9s %-22s peer %s: a control port is missing, left out\n", pair.pszKind, pair.pszPreset,
                        pair.pszPeer);
            continue;
        }
        const uint32_t uChannels = ours.Layout().uChannels;
        QwPlanarAudio& programme = programmes[uChannels];
        if (programme.NumFrames() == 0)
            programme = QwMakeBenchProgramme(RATE, static_cast<double>(iSeconds), uChannels);
        std::vector<std::vector<float>> peerOut(peer.AudioOutputs(), std::vector<float>(uBlock));
        const double fAudio = static_cast<double>(programme.NumFrames()) / RATE;
        std::vector<double> oursRtf, peerRtf;
        for (long r = 0; r < iReps; ++r) {
            oursRtf.push_back(fAudio / ours.Time(programme));
            peerRtf.push_back(fAudio / TimePeer(peer, programme, uBlock, peerOut));
        }
        const double fOurs = Median(oursRtf), fPeer = Median(peerRtf);
        std::printf("%-9s %-22s %9.0fx   %-18s %9.0fx %8.2f%s\n", pair.pszKind, pair.pszPreset, fOurs, pair.pszPeer,
                    fPeer, fOurs / fPeer, ours.ExecuteAllocations() ? "  (allocated in Execute!)" : "");
        std::fflush(stdout);
    }
    return 0;
}
