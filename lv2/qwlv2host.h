// An in-process LV2 host over lilv: one world, instances run block by block from planar
// buffers, with the features our bundle and typical peers ask for (urid map, log, options
// with the block lengths, bounded block length, a worker, state). The tests drive kvfx.lv2
// through it, and a benchmark can run any installed plug-in in the same loop.
//
// The worker runs in line: work() is called from schedule_work and its answers are delivered
// right after the run that asked, as an offline host does.
#pragma once
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <vector>
#include <lilv/lilv.h>
#include <lv2/atom/atom.h>
#include <lv2/log/log.h>
#include <lv2/options/options.h>
#include <lv2/urid/urid.h>
#include <lv2/worker/worker.h>

class QwLv2World
{
public:
    QwLv2World();
    ~QwLv2World();
    QwLv2World(const QwLv2World&) = delete;
    QwLv2World& operator=(const QwLv2World&) = delete;

    // Loads one bundle (a folder); or, with no call, everything on LV2_PATH after LoadAll.
    bool LoadBundle(const std::string& in_sFolder);
    void LoadAll();
    // Null when no loaded plug-in has this URI.
    const LilvPlugin* Find(const std::string& in_sUri) const;
    std::vector<std::string> PluginUris() const;

    LilvWorld* World() const { return m_pWorld; }
    LV2_URID Map(const char* in_pszUri);
    const char* Unmap(LV2_URID in_uUrid) const;
    LV2_URID_Map* MapFeature() { return &m_map; }
    LV2_URID_Unmap* UnmapFeature() { return &m_unmap; }

private:
    LilvWorld* m_pWorld;
    std::map<std::string, LV2_URID> m_ids;
    std::vector<std::string> m_uris;
    LV2_URID_Map m_map;
    LV2_URID_Unmap m_unmap;
};

struct QwLv2HostSettings
{
    double fSampleRate = 48000.0;
    uint32_t uMaxBlockFrames = 512;     // the bound stated in the options
    uint32_t uNominalBlockFrames = 0;   // 0: not stated
    bool bFixedBlocks = false;          // promises fixed, power-of-two runs of uMaxBlockFrames
};

class QwLv2Instance
{
public:
    explicit QwLv2Instance(QwLv2World& io_world) : m_world(io_world) {}
    ~QwLv2Instance();
    QwLv2Instance(const QwLv2Instance&) = delete;
    QwLv2Instance& operator=(const QwLv2Instance&) = delete;

    // Instantiates, connects every port to the host's own buffers (controls at their
    // defaults) and activates. On failure out_sError says why.
    bool Open(const std::string& in_sUri, const QwLv2HostSettings& in_settings, std::string& out_sError);

    uint32_t AudioInputs() const { return static_cast<uint32_t>(m_audioIn.size()); }
    uint32_t AudioOutputs() const { return static_cast<uint32_t>(m_audioOut.size()); }
    // Control ports by symbol, inputs and outputs; false (or NaN) for an unknown symbol.
    bool SetControl(const std::string& in_sSymbol, float in_fValue);
    float Control(const std::string& in_sSymbol) const;
    std::vector<std::string> ControlSymbols() const;

    // Runs in_uFrames (at most the stated bound) from planar input to planar output (null
    // arrays: the ports stay connected as they were), then
    // hands the worker's answers back to the plug-in.
    void Run(const float* const* in_apIn, float* const* in_apOut, uint32_t in_uFrames);
    // Queues a patch:Set of a path-valued property for the next run.
    void SetPathProperty(const std::string& in_sProperty, const std::string& in_sPath);
    // The last path the plug-in announced with patch:Set on an atom output.
    const std::string& AnnouncedPath() const { return m_sAnnouncedPath; }

    // State through lilv: to a string and back into this (or another) instance.
    std::string SaveState(const std::string& in_sFolder);
    bool RestoreState(const std::string& in_sState);

    const LilvPlugin* Plugin() const { return m_pPlugin; }
    LilvInstance* Instance() const { return m_pInstance; }

private:
    struct ControlPort
    {
        uint32_t uIndex;
        bool bInput;
        float fValue;
    };
    struct AtomPort
    {
        uint32_t uIndex;
        bool bInput;
        std::vector<uint64_t> buffer;   // 8-byte aligned, as atoms require
    };

    static LV2_Worker_Status ScheduleWork(LV2_Worker_Schedule_Handle in_hHandle, uint32_t in_uSize,
                                          const void* in_pData);
    static LV2_Worker_Status Respond(LV2_Worker_Respond_Handle in_hHandle, uint32_t in_uSize, const void* in_pData);
    static const void* GetPortValue(const char* in_pszSymbol, void* in_pUser, uint32_t* out_pSize, uint32_t* out_pType);
    static void SetPortValue(const char* in_pszSymbol, void* in_pUser, const void* in_pValue, uint32_t in_uSize,
                             uint32_t in_uType);
    void PrepareAtoms();
    void ReadAtoms();

    QwLv2World& m_world;
    const LilvPlugin* m_pPlugin = nullptr;
    LilvInstance* m_pInstance = nullptr;
    const LV2_Worker_Interface* m_pWorker = nullptr;
    QwLv2HostSettings m_settings;
    std::map<std::string, ControlPort> m_controls;
    std::vector<uint32_t> m_audioIn, m_audioOut;
    std::vector<AtomPort> m_atoms;
    std::vector<std::vector<float>> m_audioBuffers;
    std::deque<std::vector<uint8_t>> m_responses;
    std::vector<std::pair<LV2_URID, std::string>> m_pendingPaths;
    std::string m_sAnnouncedPath;
    int32_t m_aiBlock[3] = {};
    float m_fSampleRate = 0.0f;
    LV2_Options_Option m_aOptions[5] = {};
    LV2_Worker_Schedule m_schedule = {};
    LV2_Log_Log m_log = {};
    LV2_Feature m_aFeatures[8] = {};
    const LV2_Feature* m_apFeatures[9] = {};
};
