// One effect and its parameter object as the host makes them, over one planar block buffer,
// for the effect tests; by type, or untyped from a registration record's factories.
#pragma once
#include <gtest/gtest.h>
#include <vector>
#include "host/qwplugin.h"
#include "host/qwpluginregistration.h"
#include "support/testhost.h"

template <class FX = QwEffectPlugin, class Params = QwPluginParam>
struct EffectRig
{
    EffectRig(TestHost& io_host, uint32_t in_uChannels, uint16_t in_uMaxFrames, uint32_t in_uMask = 0,
              uint32_t in_uRate = 48000)
        : EffectRig(io_host, static_cast<Params*>(Params::Create(&io_host.allocator)), &FX::Create, in_uChannels,
                    in_uMaxFrames, in_uMask, in_uRate)
    {
    }
    // Takes the parameter object and inits it, then makes the effect.
    EffectRig(TestHost& io_host, Params* in_pParams, QwCreateEffectFn in_pfnCreateFx, uint32_t in_uChannels,
              uint16_t in_uMaxFrames, uint32_t in_uMask, uint32_t in_uRate = 48000)
        : host(io_host), context(in_uMaxFrames), data(static_cast<size_t>(in_uChannels) * in_uMaxFrames, 0.0f)
    {
        pParams = in_pParams;
        pParams->Init(&host.allocator, nullptr, 0);
        pFx = static_cast<FX*>(in_pfnCreateFx(&host.allocator));
        format = {in_uRate, QwMakeChannelConfig(in_uChannels, in_uMask), 0};
        buffer = {data.data(), format.uChannelConfig, QW_DataReady, in_uMaxFrames, in_uMaxFrames};
    }
    ~EffectRig()
    {
        pFx->Term(&host.allocator);
        pParams->Term(&host.allocator);
    }
    QwResult Init() { return pFx->Init(&host.allocator, &context, pParams, format); }
    template <class T>
    void Set(uint16_t in_uId, T in_value)
    {
        EXPECT_EQ(pParams->SetParam(in_uId, &in_value, 4), QW_Success) << in_uId;
    }
    void Execute(uint16_t in_uValid, uint32_t in_eState = QW_DataReady)
    {
        buffer.pData = data.data(); // the test may have put a new vector in its place
        buffer.uValidFrames = in_uValid;
        buffer.eState = in_eState;
        pFx->Execute(&buffer);
    }
    float* Channel(uint32_t in_uChannel) { return data.data() + static_cast<size_t>(in_uChannel) * buffer.uMaxFrames; }
    auto& Impl() { return *pFx->GetImpl(); }

    TestHost& host;
    TestEffectContext context;
    std::vector<float> data;
    QwFormat format;
    QwAudioBuffer buffer;
    Params* pParams;
    FX* pFx;
};
