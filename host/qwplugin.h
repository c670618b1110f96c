// The effect and parameter interfaces the host drives. Slot order is part of the ABI.
#pragma once
#include "host/qwaudiobuffer.h"
#include "host/qweffectcontext.h"
#include "host/qwpluginmemalloc.h"
#include "host/qwtypes.h"

class QwPluginParam;

class QwPluginBase
{
public:
    virtual ~QwPluginBase() {}
    virtual QwResult Term(QwPluginMemAlloc* in_pAllocator) = 0;
    virtual QwResult Reset() = 0;
    virtual QwResult GetPluginInfo(QwPluginMemAlloc* in_pAllocator, QwPluginInfo& out_info) = 0;
    virtual bool ProbeFlag() { return false; }
    virtual uint32_t ProbeCode() { return 0; }
};

class QwEffectInitBase : public QwPluginBase
{
public:
    virtual QwResult Init(QwPluginMemAlloc* in_pAllocator, QwEffectContext* in_pContext,
                          QwPluginParam* in_pParams, QwFormat& io_format) = 0;
};

class QwEffectPlugin : public QwEffectInitBase
{
public:
    virtual void Execute(QwAudioBuffer* io_pBuffer) = 0;
    virtual QwResult TimeSkip(uint32_t in_uFrames) = 0;
};

class QwParamSink
{
public:
    virtual ~QwParamSink() {}
    // The size is not looked at: the value's width follows from the identifier.
    virtual QwResult SetParam(uint16_t in_uParamId, const void* in_pValue, uint32_t in_uSize) = 0;
};

class QwPluginParam : public QwParamSink
{
public:
    virtual QwPluginParam* Clone(QwPluginMemAlloc* in_pAllocator) = 0;
    virtual QwResult Init(QwPluginMemAlloc* in_pAllocator, const void* in_pBlock, uint32_t in_ulBlockSize) = 0;
    virtual QwResult Term(QwPluginMemAlloc* in_pAllocator) = 0;
    virtual QwResult SetParamsBlock(const void* in_pBlock, uint32_t in_ulBlockSize) = 0;
};
