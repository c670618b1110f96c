// The LV2 binary of the bundle: each descriptor is one effect of libkvfx.so, found by walking
// the module's registration list, and each instance drives that effect through the host
// library (QwLv2Engine). Parameters go to the effect through SetParam only when a port value
// changed; nothing is smoothed.
#include <dlfcn.h>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <lv2/atom/atom.h>
#include <lv2/atom/forge.h>
#include <lv2/atom/util.h>
#include <lv2/buf-size/buf-size.h>
#include <lv2/core/lv2.h>
#include <lv2/log/log.h>
#include <lv2/log/logger.h>
#include <lv2/options/options.h>
#include <lv2/patch/patch.h>
#include <lv2/state/state.h>
#include <lv2/urid/urid.h>
#include <lv2/worker/worker.h>
#include "lv2/qwlv2engine.h"
#include "lv2/qwlv2media.h"
#include "lv2/qwlv2names.h"
#include "qwfx/lib/qwmodule.h"

namespace {

// libkvfx.so is two folders up from the bundle: P/lib/lv2/kvfx.lv2/ beside P/lib/libkvfx.so,
// and build/lv2/kvfx.lv2/ beside build/libkvfx.so.
std::string ModulePath()
{
    Dl_info info;
    if (!dladdr(reinterpret_cast<void*>(&lv2_descriptor), &info) || !info.dli_fname)
        return "libkvfx.so";
    std::string sPath = info.dli_fname;
    sPath.erase(sPath.find_last_of('/') + 1);
    return sPath + "../../libkvfx.so";
}

struct Bundle
{
    QwModule module;
    std::string sError;
    std::vector<QwLv2Effect> effects;
    std::vector<std::string> uris;
    std::vector<LV2_Descriptor> descriptors;
};

Bundle& TheBundle();

enum : uint32_t { QW_LV2_DEFAULT_BLOCK = 1024 };

enum : uint32_t { WORK_LOAD = 1, WORK_REBUILD = 2, WORK_FREE = 3 };

struct WorkHeader
{
    uint32_t uType;
    uint32_t uPathBytes;   // WORK_LOAD: path bytes after the values
    QwLv2Engine* pEngine;  // WORK_FREE: the engine to delete
};

struct Urids
{
    LV2_URID atomPath, atomString, atomResource, atomBlank, atomObject, atomSequence, atomUrid;
    LV2_URID patchSet, patchGet, patchProperty, patchValue, media;
    LV2_URID maxBlock, nominalBlock, atomInt;
};

class Plugin
{
public:
    const QwLv2Effect* pEffect = nullptr;
    QwLv2Ports ports;
    uint32_t uRate = 0;
    uint32_t uProcessFrames = 0;
    bool bWholeRuns = false;
    std::vector<const float*> paramPorts;
    const float* apIn[QW_LV2_MAX_CHANNELS] = {};
    float* apOut[QW_LV2_MAX_CHANNELS] = {};
    float* pLatency = nullptr;
    const LV2_Atom_Sequence* pControl = nullptr;
    LV2_Atom_Sequence* pNotify = nullptr;

    QwLv2Engine* pEngine = nullptr;
    // Audio thread: the bits per row this run, the message for the worker, the refused rebuild.
    std::vector<uint32_t> wanted;
    std::vector<uint8_t> message;
    std::vector<uint32_t> refused;
    std::vector<uint8_t> rebuildRows;   // per table row: a change rebuilds the effect
    bool bRebuildPending = false;
    bool bHasRefused = false;
    bool bNotifyPath = false;

    LV2_URID_Map* pMap = nullptr;
    LV2_Worker_Schedule* pSchedule = nullptr;
    LV2_Log_Logger logger = {};
    Urids urid = {};
    LV2_Atom_Forge forge = {};

    // Worker, restore and save: the current media, where they came from, and for a fitted
    // room the order it was fitted for.
    std::mutex mediaLock;
    std::vector<uint8_t> media;
    std::string sMediaPath;
    bool bMediaFitted = false;
    uint32_t uFittedOrder = 0;

    explicit Plugin(const QwLv2Effect& in_effect) : pEffect(&in_effect), ports(*in_effect.pMeta, *in_effect.pLayout) {}

    const QwEffectMeta& Meta() const { return *pEffect->pMeta; }

    QwLv2Engine* Build(const std::vector<uint32_t>& in_values, std::vector<uint8_t> in_media,
                       const std::string& in_sPath)
    {
        std::string sError;
        QwLv2Engine* pNew =
            QwLv2Engine::Create(*pEffect->pRecord, Meta(), pEffect->pLayout->uChannelConfig, uRate,
                                                 uProcessFrames, bWholeRuns, in_values, std::move(in_media), sError);
        if (!pNew)
            lv2_log_error(&logger, "kvfx: %s\n", sError.c_str());
        else
            pNew->sMediaPath = in_sPath;
        return pNew;
    }

    // Off the audio thread: a new engine on the file at in_sPath, whose media become current.
    QwLv2Engine* BuildFromFile(const std::string& in_sPath, const std::vector<uint32_t>& in_values)
    {
        std::vector<uint8_t> fresh;
        bool bFitted = false;
        std::vector<std::string> notes;
        std::string sError;
        if (!QwLv2MediaFromFile(Meta(), uRate, in_values, in_sPath, fresh, bFitted, notes, sError)) {
            lv2_log_error(&logger, "kvfx: %s\n", sError.c_str());
            return nullptr;
        }
        for (const std::string& sNote : notes)
            lv2_log_warning(&logger, "kvfx: %s\n", sNote.c_str());
        lv2_log_note(&logger, "kvfx: %s media from '%s'%s (%zu bytes)\n", Meta().pszShortName, in_sPath.c_str(),
                     bFitted ? ", fitted" : "", fresh.size());
        QwLv2Engine* pNew = Build(in_values, fresh, in_sPath);
        if (pNew) {
            std::lock_guard<std::mutex> lock(mediaLock);
            media = std::move(fresh);
            sMediaPath = in_sPath;
            bMediaFitted = bFitted;
            uFittedOrder = QwLv2ReverbOrder(Meta(), in_values);
        }
        return pNew;
    }

    // Off the audio thread: a new engine on the current media with these values. A fitted
    // room is fitted again for a new order: the model depends on it.
    QwLv2Engine* Rebuild(const std::vector<uint32_t>& in_values)
    {
        std::unique_lock<std::mutex> lock(mediaLock);
        if (bMediaFitted && QwLv2ReverbOrder(Meta(), in_values) != uFittedOrder) {
            const std::string sPath = sMediaPath;
            lock.unlock();
            return BuildFromFile(sPath, in_values);
        }
        return Build(in_values, media, sMediaPath);
    }

    void ReadPorts()
    {
        for (uint32_t i = 0; i < ports.uParams; ++i)
            wanted[i] = paramPorts[i] ? QwLv2ValueBits(Meta().pParams[i], *paramPorts[i]) : pEngine->Applied(i);
    }

    bool ScheduleWork(uint32_t in_uType, const char* in_pszPath, uint32_t in_uPathBytes)
    {
        if (!pSchedule)
            return false;
        WorkHeader header = {in_uType, in_uPathBytes, nullptr};
        const size_t uValues = wanted.size() * sizeof(uint32_t);
        const size_t uSize = sizeof header + uValues + in_uPathBytes;
        if (uSize > message.size())
            return false;
        std::memcpy(message.data(), &header, sizeof header);
        std::memcpy(message.data() + sizeof header, wanted.data(), uValues);
        if (in_uPathBytes)
            std::memcpy(message.data() + sizeof header + uValues, in_pszPath, in_uPathBytes);
        return pSchedule->schedule_work(pSchedule->handle, static_cast<uint32_t>(uSize), message.data()) ==
               LV2_WORKER_SUCCESS;
    }

    void Retire(QwLv2Engine* in_pOld)
    {
        WorkHeader header = {WORK_FREE, 0, in_pOld};
        if (!pSchedule || pSchedule->schedule_work(pSchedule->handle, sizeof header, &header) != LV2_WORKER_SUCCESS)
            delete in_pOld; // no worker: the host runs offline, so a free here costs nothing that matters
    }

    void ApplyPorts()
    {
        ReadPorts();
        bool bRebuild = false;
        for (uint32_t i = 0; i < ports.uParams; ++i) {
            if (rebuildRows[i])
                bRebuild = bRebuild || wanted[i] != pEngine->Applied(i);
            else
                pEngine->Update(i, wanted[i]);
        }
        if (!bRebuild || bRebuildPending)
            return;
        if (bHasRefused && refused == wanted)
            return;
        if (pSchedule) {
            refused = wanted;
            bRebuildPending = ScheduleWork(WORK_REBUILD, nullptr, 0);
            return;
        }
        // A host without a worker (lv2apply) runs offline: rebuild right here.
        QwLv2Engine* pNew = Rebuild(wanted);
        if (pNew) {
            Retire(pEngine);
            pEngine = pNew;
            pEngine->Reset();
        } else {
            refused = wanted;
            bHasRefused = true;
        }
    }

    void ReadControl()
    {
        if (!pControl || !pMap)
            return;
        LV2_ATOM_SEQUENCE_FOREACH(pControl, pEvent)
        {
            const LV2_Atom_Object* pObject = reinterpret_cast<const LV2_Atom_Object*>(&pEvent->body);
            if (pEvent->body.type != urid.atomObject && pEvent->body.type != urid.atomBlank &&
                pEvent->body.type != urid.atomResource)
                continue;
            if (pObject->body.otype == urid.patchGet) {
                bNotifyPath = true;
            } else if (pObject->body.otype == urid.patchSet) {
                const LV2_Atom* pProperty = nullptr;
                const LV2_Atom* pValue = nullptr;
                lv2_atom_object_get(pObject, urid.patchProperty, &pProperty, urid.patchValue, &pValue, 0);
                if (!pProperty || pProperty->type != urid.atomUrid ||
                    reinterpret_cast<const LV2_Atom_URID*>(pProperty)->body != urid.media || !pValue ||
                    (pValue->type != urid.atomPath && pValue->type != urid.atomString) || pValue->size == 0)
                    continue;
                ReadPorts();
                if (!ScheduleWork(WORK_LOAD, static_cast<const char*>(LV2_ATOM_BODY_CONST(pValue)), pValue->size))
                    lv2_log_error(&logger, "kvfx: the file cannot be loaded: no worker, or a path over 4096 bytes\n");
            }
        }
    }

    void WriteNotify()
    {
        if (!pNotify)
            return;
        const uint32_t uCapacity = pNotify->atom.size;
        lv2_atom_forge_set_buffer(&forge, reinterpret_cast<uint8_t*>(pNotify), uCapacity);
        LV2_Atom_Forge_Frame sequence;
        lv2_atom_forge_sequence_head(&forge, &sequence, 0);
        if (bNotifyPath && pMap) {
            bNotifyPath = false;
            const std::string& sPath = pEngine->sMediaPath;
            LV2_Atom_Forge_Frame object;
            lv2_atom_forge_frame_time(&forge, 0);
            lv2_atom_forge_object(&forge, &object, 0, urid.patchSet);
            lv2_atom_forge_key(&forge, urid.patchProperty);
            lv2_atom_forge_urid(&forge, urid.media);
            lv2_atom_forge_key(&forge, urid.patchValue);
            lv2_atom_forge_path(&forge, sPath.c_str(), static_cast<uint32_t>(sPath.size() + 1));
            lv2_atom_forge_pop(&forge, &object);
        }
        lv2_atom_forge_pop(&forge, &sequence);
    }
};

const LV2_Feature* FindFeature(const LV2_Feature* const* in_apFeatures, const char* in_pszUri)
{
    for (const LV2_Feature* const* pp = in_apFeatures; pp && *pp; ++pp)
        if (std::strcmp((*pp)->URI, in_pszUri) == 0)
            return *pp;
    return nullptr;
}

// The bound the host states for run lengths: maxBlockLength, else nominalBlockLength; 0 if none.
uint32_t HostBlockFrames(const LV2_Feature* const* in_apFeatures, LV2_URID_Map* in_pMap)
{
    const LV2_Feature* pOptions = FindFeature(in_apFeatures, LV2_OPTIONS__options);
    if (!pOptions || !in_pMap)
        return 0;
    const LV2_URID uMax = in_pMap->map(in_pMap->handle, LV2_BUF_SIZE__maxBlockLength);
    const LV2_URID uNominal = in_pMap->map(in_pMap->handle, LV2_BUF_SIZE__nominalBlockLength);
    const LV2_URID uInt = in_pMap->map(in_pMap->handle, LV2_ATOM__Int);
    uint32_t uMaxFrames = 0;
    uint32_t uNominalFrames = 0;
    for (const LV2_Options_Option* pOption = static_cast<const LV2_Options_Option*>(pOptions->data);
         pOption && pOption->key; ++pOption) {
        if (pOption->type != uInt || pOption->size != sizeof(int32_t) || !pOption->value)
            continue;
        const int32_t sValue = *static_cast<const int32_t*>(pOption->value);
        if (sValue <= 0)
            continue;
        if (pOption->key == uMax)
            uMaxFrames = static_cast<uint32_t>(sValue);
        else if (pOption->key == uNominal)
            uNominalFrames = static_cast<uint32_t>(sValue);
    }
    return uMaxFrames ? uMaxFrames : uNominalFrames;
}

LV2_Handle Instantiate(const LV2_Descriptor* in_pDescriptor, double in_fRate, const char*,
                       const LV2_Feature* const* in_apFeatures)
{
    Bundle& bundle = TheBundle();
    const size_t uIndex = static_cast<size_t>(in_pDescriptor - bundle.descriptors.data());
    if (uIndex >= bundle.effects.size())
        return nullptr;
    auto pPlugin = std::make_unique<Plugin>(bundle.effects[uIndex]);
    Plugin& p = *pPlugin;
    if (const LV2_Feature* pFeature = FindFeature(in_apFeatures, LV2_URID__map))
        p.pMap = static_cast<LV2_URID_Map*>(pFeature->data);
    if (const LV2_Feature* pFeature = FindFeature(in_apFeatures, LV2_WORKER__schedule))
        p.pSchedule = static_cast<LV2_Worker_Schedule*>(pFeature->data);
    const LV2_Feature* pLog = FindFeature(in_apFeatures, LV2_LOG__log);
    lv2_log_logger_init(&p.logger, p.pMap, pLog ? static_cast<LV2_Log_Log*>(pLog->data) : nullptr);

    // The Turtle requires a bounded block length, and hosts that read it give one. The adapter
    // takes runs of any length, so the bound only chooses the process block: a host that passes
    // no features at all (lv2apply, which also crashes on a refused instance) gets the largest.
    uint32_t uHostFrames = HostBlockFrames(in_apFeatures, p.pMap);
    if (uHostFrames == 0) {
        lv2_log_warning(&p.logger, "kvfx: the host states no block length; using process blocks of 1024\n");
        uHostFrames = QW_LV2_DEFAULT_BLOCK;
    }
    p.uRate = static_cast<uint32_t>(in_fRate + 0.5);
    p.uProcessFrames = QwLv2ProcessFrames(uHostFrames);
    // Runs of one fixed power-of-two length that a process block can be: no adapter needed.
    p.bWholeRuns = FindFeature(in_apFeatures, LV2_BUF_SIZE__fixedBlockLength) &&
                   FindFeature(in_apFeatures, LV2_BUF_SIZE__powerOf2BlockLength) && p.uProcessFrames == uHostFrames;
    if (p.ports.bMedia && !p.pMap)
        lv2_log_warning(&p.logger, "kvfx: without the host's urid:map %s keeps its built-in media\n",
                        p.Meta().pszShortName);
    if (p.pMap) {
        LV2_URID_Map* m = p.pMap;
        auto Map = [m](const char* in_pszUri) { return m->map(m->handle, in_pszUri); };
        p.urid = Urids{Map(LV2_ATOM__Path),        Map(LV2_ATOM__String),     Map(LV2_ATOM__Resource),
                       Map(LV2_ATOM__Blank),       Map(LV2_ATOM__Object),     Map(LV2_ATOM__Sequence),
                       Map(LV2_ATOM__URID),        Map(LV2_PATCH__Set),       Map(LV2_PATCH__Get),
                       Map(LV2_PATCH__property),   Map(LV2_PATCH__value),
                       Map(QwLv2MediaPropertyUri(p.Meta()).c_str()),
                       Map(LV2_BUF_SIZE__maxBlockLength), Map(LV2_BUF_SIZE__nominalBlockLength), Map(LV2_ATOM__Int)};
        lv2_atom_forge_init(&p.forge, p.pMap);
    }

    const QwEffectMeta& meta = p.Meta();
    p.paramPorts.assign(meta.uParamCount, nullptr);
    p.wanted.resize(meta.uParamCount);
    p.refused.resize(meta.uParamCount);
    for (uint32_t i = 0; i < meta.uParamCount; ++i)
        p.rebuildRows.push_back(QwLv2RebuildsOnChange(meta, meta.pParams[i]) ? 1 : 0);
    p.message.assign(sizeof(WorkHeader) + meta.uParamCount * sizeof(uint32_t) + 4096, 0);
    for (uint32_t i = 0; i < meta.uParamCount; ++i)
        p.wanted[i] = QwLv2ValueBits(meta.pParams[i], static_cast<float>(meta.pParams[i].fDefault));
    if (p.ports.bMedia)
        p.media = meta.pfnMakeMedia(p.uRate, "");
    p.pEngine = p.Build(p.wanted, p.media, "");
    return p.pEngine ? pPlugin.release() : nullptr;
}

void ConnectPort(LV2_Handle in_hInstance, uint32_t in_uPort, void* in_pData)
{
    Plugin& p = *static_cast<Plugin*>(in_hInstance);
    if (in_uPort < p.ports.uParams)
        p.paramPorts[in_uPort] = static_cast<const float*>(in_pData);
    else if (in_uPort < p.ports.AudioOut(0))
        p.apIn[in_uPort - p.ports.AudioIn(0)] = static_cast<const float*>(in_pData);
    else if (in_uPort < p.ports.Latency())
        p.apOut[in_uPort - p.ports.AudioOut(0)] = static_cast<float*>(in_pData);
    else if (in_uPort == p.ports.Latency())
        p.pLatency = static_cast<float*>(in_pData);
    else if (p.ports.bMedia && in_uPort == p.ports.Control())
        p.pControl = static_cast<const LV2_Atom_Sequence*>(in_pData);
    else if (p.ports.bMedia && in_uPort == p.ports.Notify())
        p.pNotify = static_cast<LV2_Atom_Sequence*>(in_pData);
}

void Activate(LV2_Handle in_hInstance) { static_cast<Plugin*>(in_hInstance)->pEngine->Reset(); }

void Run(LV2_Handle in_hInstance, uint32_t in_uFrames)
{
    Plugin& p = *static_cast<Plugin*>(in_hInstance);
    p.ReadControl();
    p.ApplyPorts();
    bool bConnected = true;
    for (uint32_t c = 0; c < p.ports.uChannels; ++c)
        bConnected = bConnected && p.apIn[c] && p.apOut[c];
    if (bConnected)
        p.pEngine->Process(p.apIn, p.apOut, in_uFrames);
    if (p.pLatency)
        *p.pLatency = static_cast<float>(p.pEngine->LatencyFrames());
    p.WriteNotify();
}

void Cleanup(LV2_Handle in_hInstance)
{
    Plugin* pPlugin = static_cast<Plugin*>(in_hInstance);
    delete pPlugin->pEngine;
    delete pPlugin;
}

LV2_Worker_Status Work(LV2_Handle in_hInstance, LV2_Worker_Respond_Function in_respond,
                       LV2_Worker_Respond_Handle in_hRespond, uint32_t in_uSize, const void* in_pData)
{
    Plugin& p = *static_cast<Plugin*>(in_hInstance);
    WorkHeader header;
    if (in_uSize < sizeof header)
        return LV2_WORKER_ERR_UNKNOWN;
    std::memcpy(&header, in_pData, sizeof header);
    if (header.uType == WORK_FREE) {
        delete header.pEngine;
        return LV2_WORKER_SUCCESS;
    }
    const size_t uValues = p.ports.uParams * sizeof(uint32_t);
    if (in_uSize < sizeof header + uValues + header.uPathBytes)
        return LV2_WORKER_ERR_UNKNOWN;
    const uint8_t* pBytes = static_cast<const uint8_t*>(in_pData) + sizeof header;
    std::vector<uint32_t> values(p.ports.uParams);
    std::memcpy(values.data(), pBytes, uValues);
    QwLv2Engine* pNew = nullptr;
    if (header.uType == WORK_LOAD) {
        // Path atoms carry their terminating zero; a string may not.
        std::string sPath(reinterpret_cast<const char*>(pBytes + uValues), header.uPathBytes);
        sPath = sPath.c_str();
        pNew = p.BuildFromFile(sPath, values);
    } else {
        pNew = p.Rebuild(values);
    }
    // A rebuild answers even when it failed, so that the audio thread stops waiting for it.
    if (pNew || header.uType == WORK_REBUILD) {
        const WorkHeader answer = {header.uType, 0, pNew};
        in_respond(in_hRespond, sizeof answer, &answer);
    }
    return LV2_WORKER_SUCCESS;
}

LV2_Worker_Status WorkResponse(LV2_Handle in_hInstance, uint32_t in_uSize, const void* in_pData)
{
    Plugin& p = *static_cast<Plugin*>(in_hInstance);
    WorkHeader answer;
    if (in_uSize != sizeof answer)
        return LV2_WORKER_ERR_UNKNOWN;
    std::memcpy(&answer, in_pData, sizeof answer);
    QwLv2Engine* pNew = answer.pEngine;
    if (answer.uType == WORK_REBUILD)
        p.bRebuildPending = false;
    if (!pNew) {
        // The rebuild failed: do not ask again until the values change.
        p.bHasRefused = true;
        return LV2_WORKER_SUCCESS;
    }
    // The worker answers in order; should the new engine lag the ports, the next run asks again.
    p.bHasRefused = false;
    QwLv2Engine* pOld = p.pEngine;
    p.pEngine = pNew;
    p.Retire(pOld);
    p.bNotifyPath = p.ports.bMedia;
    return LV2_WORKER_SUCCESS;
}

LV2_State_Status Save(LV2_Handle in_hInstance, LV2_State_Store_Function in_store, LV2_State_Handle in_hState,
                      uint32_t, const LV2_Feature* const* in_apFeatures)
{
    Plugin& p = *static_cast<Plugin*>(in_hInstance);
    std::string sPath;
    {
        std::lock_guard<std::mutex> lock(p.mediaLock);
        sPath = p.sMediaPath;
    }
    if (sPath.empty() || !p.pMap)
        return LV2_STATE_SUCCESS;
    const LV2_Feature* pMapPath = FindFeature(in_apFeatures, LV2_STATE__mapPath);
    const LV2_Feature* pFreePath = FindFeature(in_apFeatures, LV2_STATE__freePath);
    char* pszAbstract = nullptr;
    if (pMapPath) {
        auto* pMap = static_cast<LV2_State_Map_Path*>(pMapPath->data);
        pszAbstract = pMap->abstract_path(pMap->handle, sPath.c_str());
    }
    const char* pszStored = pszAbstract ? pszAbstract : sPath.c_str();
    const LV2_State_Status eStatus =
        in_store(in_hState, p.urid.media, pszStored, std::strlen(pszStored) + 1, p.urid.atomPath,
                 LV2_STATE_IS_POD | LV2_STATE_IS_PORTABLE);
    if (pszAbstract) {
        if (pFreePath) {
            auto* pFree = static_cast<LV2_State_Free_Path*>(pFreePath->data);
            pFree->free_path(pFree->handle, pszAbstract);
        } else {
            std::free(pszAbstract);
        }
    }
    return eStatus;
}

LV2_State_Status Restore(LV2_Handle in_hInstance, LV2_State_Retrieve_Function in_retrieve, LV2_State_Handle in_hState,
                         uint32_t, const LV2_Feature* const* in_apFeatures)
{
    Plugin& p = *static_cast<Plugin*>(in_hInstance);
    if (!p.pMap || !p.ports.bMedia)
        return LV2_STATE_SUCCESS;
    size_t uSize = 0;
    uint32_t uType = 0;
    uint32_t uFlags = 0;
    const void* pValue = in_retrieve(in_hState, p.urid.media, &uSize, &uType, &uFlags);
    if (!pValue || uSize == 0 || uType != p.urid.atomPath)
        return LV2_STATE_SUCCESS;
    std::string sPath(static_cast<const char*>(pValue), uSize);
    sPath = sPath.c_str();
    const LV2_Feature* pMapPath = FindFeature(in_apFeatures, LV2_STATE__mapPath);
    const LV2_Feature* pFreePath = FindFeature(in_apFeatures, LV2_STATE__freePath);
    if (pMapPath) {
        auto* pMap = static_cast<LV2_State_Map_Path*>(pMapPath->data);
        if (char* pszAbsolute = pMap->absolute_path(pMap->handle, sPath.c_str())) {
            sPath = pszAbsolute;
            if (pFreePath) {
                auto* pFree = static_cast<LV2_State_Free_Path*>(pFreePath->data);
                pFree->free_path(pFree->handle, pszAbsolute);
            } else {
                std::free(pszAbsolute);
            }
        }
    }
    // Restore never runs beside run(), so the engine is replaced in place.
    std::vector<uint32_t> values(p.ports.uParams);
    for (uint32_t i = 0; i < p.ports.uParams; ++i)
        values[i] = p.pEngine->Applied(i);
    QwLv2Engine* pNew = p.BuildFromFile(sPath, values);
    if (!pNew)
        return LV2_STATE_ERR_UNKNOWN;
    delete p.pEngine;
    p.pEngine = pNew;
    p.bNotifyPath = true;
    return LV2_STATE_SUCCESS;
}

const void* ExtensionData(const char* in_pszUri)
{
    static const LV2_Worker_Interface s_worker = {Work, WorkResponse, nullptr};
    static const LV2_State_Interface s_state = {Save, Restore};
    if (std::strcmp(in_pszUri, LV2_WORKER__interface) == 0)
        return &s_worker;
    if (std::strcmp(in_pszUri, LV2_STATE__interface) == 0)
        return &s_state;
    return nullptr;
}

Bundle& TheBundle()
{
    // Lives until the host unloads this binary, which then closes the module.
    static Bundle s_bundle;
    static const bool s_bLoaded = [] {
        Bundle& bundle = s_bundle;
        if (!bundle.module.Open(ModulePath(), bundle.sError))
            return false;
        bundle.module.SetAssertHook(&QwLv2AssertHook);
        g_pQWPluginList.QwAssertHook = &QwLv2AssertHook;
        bundle.effects = QwLv2Effects(bundle.module);
        for (const QwLv2Effect& effect : bundle.effects)
            bundle.uris.push_back(QwLv2PluginUri(*effect.pMeta, *effect.pLayout));
        for (const std::string& sUri : bundle.uris)
            bundle.descriptors.push_back(LV2_Descriptor{sUri.c_str(), Instantiate, ConnectPort, Activate, Run,
                                                        nullptr, Cleanup, ExtensionData});
        return true;
    }();
    (void)s_bLoaded;
    return s_bundle;
}

} // namespace

LV2_SYMBOL_EXPORT const LV2_Descriptor* lv2_descriptor(uint32_t in_uIndex)
{
    const Bundle& bundle = TheBundle();
    return in_uIndex < bundle.descriptors.size() ? &bundle.descriptors[in_uIndex] : nullptr;
}
