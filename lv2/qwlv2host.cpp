#include "lv2/qwlv2host.h"
#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <lv2/atom/forge.h>
#include <lv2/atom/util.h>
#include <lv2/buf-size/buf-size.h>
#include <lv2/parameters/parameters.h>
#include <lv2/patch/patch.h>
#include <lv2/state/state.h>

namespace {

// Room for a patch:Set with a long path, and for what peers write on their outputs.
const size_t ATOM_BUFFER_BYTES = 16384;

LV2_URID MapUri(LV2_URID_Map_Handle in_hHandle, const char* in_pszUri)
{
    return static_cast<QwLv2World*>(in_hHandle)->Map(in_pszUri);
}

const char* UnmapUri(LV2_URID_Unmap_Handle in_hHandle, LV2_URID in_uUrid)
{
    return static_cast<QwLv2World*>(in_hHandle)->Unmap(in_uUrid);
}

// Plug-in messages go to stderr, prefixed with their type.
int LogVprintf(LV2_Log_Handle in_hHandle, LV2_URID in_uType, const char* in_pszFormat, va_list in_args)
{
    const char* pszType = static_cast<QwLv2World*>(in_hHandle)->Unmap(in_uType);
    const char* pszHash = pszType ? std::strrchr(pszType, '#') : nullptr;
    std::fprintf(stderr, "[%s] ", pszHash ? pszHash + 1 : "log");
    return std::vfprintf(stderr, in_pszFormat, in_args);
}

int LogPrintf(LV2_Log_Handle in_hHandle, LV2_URID in_uType, const char* in_pszFormat, ...)
{
    va_list args;
    va_start(args, in_pszFormat);
    const int iResult = LogVprintf(in_hHandle, in_uType, in_pszFormat, args);
    va_end(args);
    return iResult;
}

bool PortIs(const LilvPlugin* in_pPlugin, const LilvPort* in_pPort, LilvWorld* in_pWorld, const char* in_pszClass)
{
    LilvNode* pClass = lilv_new_uri(in_pWorld, in_pszClass);
    const bool bIs = lilv_port_is_a(in_pPlugin, in_pPort, pClass);
    lilv_node_free(pClass);
    return bIs;
}

} // namespace

QwLv2World::QwLv2World() : m_pWorld(lilv_world_new())
{
    m_map = {this, &MapUri};
    m_unmap = {this, &UnmapUri};
}

QwLv2World::~QwLv2World() { lilv_world_free(m_pWorld); }

bool QwLv2World::LoadBundle(const std::string& in_sFolder)
{
    std::string sFolder = in_sFolder;
    if (sFolder.empty() || sFolder.back() != '/')
        sFolder += '/';
    LilvNode* pBundle = lilv_new_file_uri(m_pWorld, nullptr, sFolder.c_str());
    if (!pBundle)
        return false;
    lilv_world_load_bundle(m_pWorld, pBundle);
    lilv_node_free(pBundle);
    return true;
}

void QwLv2World::LoadAll() { lilv_world_load_all(m_pWorld); }

const LilvPlugin* QwLv2World::Find(const std::string& in_sUri) const
{
    LilvNode* pUri = lilv_new_uri(m_pWorld, in_sUri.c_str());
    const LilvPlugin* pPlugin = lilv_plugins_get_by_uri(lilv_world_get_all_plugins(m_pWorld), pUri);
    lilv_node_free(pUri);
    return pPlugin;
}

std::vector<std::string> QwLv2World::PluginUris() const
{
    std::vector<std::string> uris;
    const LilvPlugins* pPlugins = lilv_world_get_all_plugins(m_pWorld);
    LILV_FOREACH(plugins, i, pPlugins)
    uris.push_back(lilv_node_as_uri(lilv_plugin_get_uri(lilv_plugins_get(pPlugins, i))));
    return uris;
}

LV2_URID QwLv2World::Map(const char* in_pszUri)
{
    auto it = m_ids.find(in_pszUri);
    if (it != m_ids.end())
        return it->second;
    m_uris.push_back(in_pszUri);
    const LV2_URID uId = static_cast<LV2_URID>(m_uris.size());
    m_ids.emplace(in_pszUri, uId);
    return uId;
}

const char* QwLv2World::Unmap(LV2_URID in_uUrid) const
{
    return in_uUrid >= 1 && in_uUrid <= m_uris.size() ? m_uris[in_uUrid - 1].c_str() : nullptr;
}

QwLv2Instance::~QwLv2Instance()
{
    if (m_pInstance) {
        lilv_instance_deactivate(m_pInstance);
        lilv_instance_free(m_pInstance);
    }
}

bool QwLv2Instance::Open(const std::string& in_sUri, const QwLv2HostSettings& in_settings, std::string& out_sError)
{
    m_pPlugin = m_world.Find(in_sUri);
    if (!m_pPlugin) {
        out_sError = "no plug-in <" + in_sUri + "> is loaded";
        return false;
    }
    m_settings = in_settings;
    const LV2_URID uInt = m_world.Map(LV2_ATOM__Int);
    m_aiBlock[0] = in_settings.bFixedBlocks ? static_cast<int32_t>(in_settings.uMaxBlockFrames) : 1;
    m_aiBlock[1] = static_cast<int32_t>(in_settings.uMaxBlockFrames);
    m_aiBlock[2] = static_cast<int32_t>(in_settings.uNominalBlockFrames);
    m_fSampleRate = static_cast<float>(in_settings.fSampleRate);
    size_t n = 0;
    m_aOptions[n++] = {LV2_OPTIONS_INSTANCE, 0, m_world.Map(LV2_BUF_SIZE__minBlockLength), sizeof(int32_t), uInt,
                       &m_aiBlock[0]};
    m_aOptions[n++] = {LV2_OPTIONS_INSTANCE, 0, m_world.Map(LV2_BUF_SIZE__maxBlockLength), sizeof(int32_t), uInt,
                       &m_aiBlock[1]};
    if (in_settings.uNominalBlockFrames)
        m_aOptions[n++] = {LV2_OPTIONS_INSTANCE, 0, m_world.Map(LV2_BUF_SIZE__nominalBlockLength), sizeof(int32_t),
                           uInt, &m_aiBlock[2]};
    m_aOptions[n++] = {LV2_OPTIONS_INSTANCE, 0, m_world.Map(LV2_PARAMETERS__sampleRate), sizeof(float),
                       m_world.Map(LV2_ATOM__Float), &m_fSampleRate};
    m_aOptions[n] = {LV2_OPTIONS_INSTANCE, 0, 0, 0, 0, nullptr};
    m_schedule = {this, &ScheduleWork};
    m_aFeatures[0] = {LV2_URID__map, m_world.MapFeature()};
    m_aFeatures[1] = {LV2_URID__unmap, m_world.UnmapFeature()};
    m_aFeatures[2] = {LV2_OPTIONS__options, m_aOptions};
    m_aFeatures[3] = {LV2_BUF_SIZE__boundedBlockLength, nullptr};
    m_aFeatures[4] = {LV2_WORKER__schedule, &m_schedule};
    m_log = {&m_world, &LogPrintf, &LogVprintf};
    m_aFeatures[5] = {LV2_LOG__log, &m_log};
    size_t uFeatures = 6;
    if (in_settings.bFixedBlocks) {
        m_aFeatures[uFeatures++] = {LV2_BUF_SIZE__fixedBlockLength, nullptr};
        m_aFeatures[uFeatures++] = {LV2_BUF_SIZE__powerOf2BlockLength, nullptr};
    }
    for (size_t i = 0; i < uFeatures; ++i)
        m_apFeatures[i] = &m_aFeatures[i];
    m_apFeatures[uFeatures] = nullptr;

    m_pInstance = lilv_plugin_instantiate(m_pPlugin, in_settings.fSampleRate, m_apFeatures);
    if (!m_pInstance) {
        out_sError = "<" + in_sUri + "> refused to instantiate";
        return false;
    }
    m_pWorker = static_cast<const LV2_Worker_Interface*>(
        lilv_instance_get_extension_data(m_pInstance, LV2_WORKER__interface));

    LilvWorld* pWorld = m_world.World();
    const uint32_t uPorts = lilv_plugin_get_num_ports(m_pPlugin);
    std::vector<float> defaults(uPorts, 0.0f);
    lilv_plugin_get_port_ranges_float(m_pPlugin, nullptr, nullptr, defaults.data());
    for (uint32_t i = 0; i < uPorts; ++i) {
        const LilvPort* pPort = lilv_plugin_get_port_by_index(m_pPlugin, i);
        const bool bInput = PortIs(m_pPlugin, pPort, pWorld, LV2_CORE__InputPort);
        if (PortIs(m_pPlugin, pPort, pWorld, LV2_CORE__ControlPort)) {
            const std::string sSymbol = lilv_node_as_string(lilv_port_get_symbol(m_pPlugin, pPort));
            ControlPort& port = m_controls[sSymbol];
            port = {i, bInput, std::isnan(defaults[i]) ? 0.0f : defaults[i]};
            lilv_instance_connect_port(m_pInstance, i, &port.fValue);
        } else if (PortIs(m_pPlugin, pPort, pWorld, LV2_CORE__AudioPort)) {
            (bInput ? m_audioIn : m_audioOut).push_back(i);
        } else if (PortIs(m_pPlugin, pPort, pWorld, LV2_ATOM__AtomPort)) {
            m_atoms.push_back({i, bInput, std::vector<uint64_t>(ATOM_BUFFER_BYTES / 8, 0)});
        } else {
            // CV and anything else: a scratch buffer of a whole block.
            m_audioBuffers.emplace_back(in_settings.uMaxBlockFrames, 0.0f);
            lilv_instance_connect_port(m_pInstance, i, m_audioBuffers.back().data());
        }
    }
    // The map's values stay put: std::map nodes do not move.
    for (AtomPort& port : m_atoms)
        lilv_instance_connect_port(m_pInstance, port.uIndex, port.buffer.data());
    lilv_instance_activate(m_pInstance);
    return true;
}

bool QwLv2Instance::SetControl(const std::string& in_sSymbol, float in_fValue)
{
    auto it = m_controls.find(in_sSymbol);
    if (it == m_controls.end() || !it->second.bInput)
        return false;
    it->second.fValue = in_fValue;
    return true;
}

float QwLv2Instance::Control(const std::string& in_sSymbol) const
{
    auto it = m_controls.find(in_sSymbol);
    return it == m_controls.end() ? NAN : it->second.fValue;
}

std::vector<std::string> QwLv2Instance::ControlSymbols() const
{
    std::vector<std::pair<uint32_t, std::string>> byIndex;
    for (const auto& entry : m_controls)
        byIndex.emplace_back(entry.second.uIndex, entry.first);
    std::sort(byIndex.begin(), byIndex.end());
    std::vector<std::string> symbols;
    for (const auto& entry : byIndex)
        symbols.push_back(entry.second);
    return symbols;
}

void QwLv2Instance::SetPathProperty(const std::string& in_sProperty, const std::string& in_sPath)
{
    m_pendingPaths.emplace_back(m_world.Map(in_sProperty.c_str()), in_sPath);
}

void QwLv2Instance::PrepareAtoms()
{
    LV2_Atom_Forge forge;
    lv2_atom_forge_init(&forge, m_world.MapFeature());
    for (AtomPort& port : m_atoms) {
        auto* pSequence = reinterpret_cast<LV2_Atom_Sequence*>(port.buffer.data());
        if (!port.bInput) {
            // An output is offered whole: its size is the capacity, its type a chunk.
            pSequence->atom.size = static_cast<uint32_t>(ATOM_BUFFER_BYTES - sizeof(LV2_Atom));
            pSequence->atom.type = m_world.Map(LV2_ATOM__Chunk);
            continue;
        }
        lv2_atom_forge_set_buffer(&forge, reinterpret_cast<uint8_t*>(port.buffer.data()), ATOM_BUFFER_BYTES);
        LV2_Atom_Forge_Frame sequence;
        lv2_atom_forge_sequence_head(&forge, &sequence, 0);
        for (const auto& pending : m_pendingPaths) {
            LV2_Atom_Forge_Frame object;
            lv2_atom_forge_frame_time(&forge, 0);
            lv2_atom_forge_object(&forge, &object, 0, m_world.Map(LV2_PATCH__Set));
            lv2_atom_forge_key(&forge, m_world.Map(LV2_PATCH__property));
            lv2_atom_forge_urid(&forge, pending.first);
            lv2_atom_forge_key(&forge, m_world.Map(LV2_PATCH__value));
            lv2_atom_forge_path(&forge, pending.second.c_str(), static_cast<uint32_t>(pending.second.size() + 1));
            lv2_atom_forge_pop(&forge, &object);
        }
        lv2_atom_forge_pop(&forge, &sequence);
    }
    bool bHasInput = false;
    for (const AtomPort& port : m_atoms)
        bHasInput = bHasInput || port.bInput;
    if (bHasInput)
        m_pendingPaths.clear();
}

void QwLv2Instance::ReadAtoms()
{
    const LV2_URID uSet = m_world.Map(LV2_PATCH__Set);
    const LV2_URID uValue = m_world.Map(LV2_PATCH__value);
    const LV2_URID uPath = m_world.Map(LV2_ATOM__Path);
    const LV2_URID uSequence = m_world.Map(LV2_ATOM__Sequence);
    const LV2_URID uObject = m_world.Map(LV2_ATOM__Object);
    const LV2_URID uResource = m_world.Map(LV2_ATOM__Resource);
    const LV2_URID uBlank = m_world.Map(LV2_ATOM__Blank);
    for (const AtomPort& port : m_atoms) {
        const auto* pSequence = reinterpret_cast<const LV2_Atom_Sequence*>(port.buffer.data());
        if (port.bInput || pSequence->atom.type != uSequence)
            continue;
        LV2_ATOM_SEQUENCE_FOREACH(pSequence, pEvent)
        {
            const auto* pObject = reinterpret_cast<const LV2_Atom_Object*>(&pEvent->body);
            const LV2_URID uType = pEvent->body.type;
            if ((uType != uObject && uType != uResource && uType != uBlank) || pObject->body.otype != uSet)
                continue;
            const LV2_Atom* pValue = nullptr;
            lv2_atom_object_get(pObject, uValue, &pValue, 0);
            if (pValue && pValue->type == uPath)
                m_sAnnouncedPath = static_cast<const char*>(LV2_ATOM_BODY_CONST(pValue));
        }
    }
}

void QwLv2Instance::Run(const float* const* in_apIn, float* const* in_apOut, uint32_t in_uFrames)
{
    // Null arrays (a run of no frames) leave the audio ports as they were.
    for (size_t c = 0; in_apIn && c < m_audioIn.size(); ++c)
        lilv_instance_connect_port(m_pInstance, m_audioIn[c], const_cast<float*>(in_apIn[c]));
    for (size_t c = 0; in_apOut && c < m_audioOut.size(); ++c)
        lilv_instance_connect_port(m_pInstance, m_audioOut[c], in_apOut[c]);
    PrepareAtoms();
    lilv_instance_run(m_pInstance, in_uFrames);
    while (m_pWorker && !m_responses.empty()) {
        const std::vector<uint8_t> response = std::move(m_responses.front());
        m_responses.pop_front();
        m_pWorker->work_response(lilv_instance_get_handle(m_pInstance), static_cast<uint32_t>(response.size()),
                                 response.data());
    }
    if (m_pWorker && m_pWorker->end_run)
        m_pWorker->end_run(lilv_instance_get_handle(m_pInstance));
    ReadAtoms();
}

LV2_Worker_Status QwLv2Instance::ScheduleWork(LV2_Worker_Schedule_Handle in_hHandle, uint32_t in_uSize,
                                              const void* in_pData)
{
    QwLv2Instance& self = *static_cast<QwLv2Instance*>(in_hHandle);
    if (!self.m_pWorker)
        return LV2_WORKER_ERR_UNKNOWN;
    return self.m_pWorker->work(lilv_instance_get_handle(self.m_pInstance), &Respond, &self, in_uSize, in_pData);
}

LV2_Worker_Status QwLv2Instance::Respond(LV2_Worker_Respond_Handle in_hHandle, uint32_t in_uSize, const void* in_pData)
{
    QwLv2Instance& self = *static_cast<QwLv2Instance*>(in_hHandle);
    const uint8_t* pBytes = static_cast<const uint8_t*>(in_pData);
    self.m_responses.emplace_back(pBytes, pBytes + in_uSize);
    return LV2_WORKER_SUCCESS;
}

const void* QwLv2Instance::GetPortValue(const char* in_pszSymbol, void* in_pUser, uint32_t* out_pSize,
                                        uint32_t* out_pType)
{
    QwLv2Instance& self = *static_cast<QwLv2Instance*>(in_pUser);
    auto it = self.m_controls.find(in_pszSymbol);
    if (it == self.m_controls.end() || !it->second.bInput) {
        *out_pSize = 0;
        *out_pType = 0;
        return nullptr;
    }
    *out_pSize = sizeof(float);
    *out_pType = self.m_world.Map(LV2_ATOM__Float);
    return &it->second.fValue;
}

void QwLv2Instance::SetPortValue(const char* in_pszSymbol, void* in_pUser, const void* in_pValue, uint32_t in_uSize,
                                 uint32_t in_uType)
{
    QwLv2Instance& self = *static_cast<QwLv2Instance*>(in_pUser);
    if (in_uSize == sizeof(float) && in_uType == self.m_world.Map(LV2_ATOM__Float))
        self.SetControl(in_pszSymbol, *static_cast<const float*>(in_pValue));
}

std::string QwLv2Instance::SaveState(const std::string& in_sFolder)
{
    LilvState* pState = lilv_state_new_from_instance(m_pPlugin, m_pInstance, m_world.MapFeature(), nullptr, nullptr,
                                                     nullptr, in_sFolder.c_str(), &GetPortValue, this,
                                                     LV2_STATE_IS_POD | LV2_STATE_IS_PORTABLE, m_apFeatures);
    if (!pState)
        return "";
    char* pszText = lilv_state_to_string(m_world.World(), m_world.MapFeature(), m_world.UnmapFeature(), pState,
                                         "urn:kvfx:state", nullptr);
    std::string sText = pszText ? pszText : "";
    lilv_free(pszText);
    lilv_state_free(pState);
    return sText;
}

bool QwLv2Instance::RestoreState(const std::string& in_sState)
{
    LilvState* pState = lilv_state_new_from_string(m_world.World(), m_world.MapFeature(), in_sState.c_str());
    if (!pState)
        return false;
    lilv_state_restore(pState, m_pInstance, &SetPortValue, this, 0, m_apFeatures);
    lilv_state_free(pState);
    return true;
}
