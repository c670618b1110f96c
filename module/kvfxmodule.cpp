// The module's registration records, pushed at load in a fixed order so that a walk of
// g_pQWPluginList meets them in the reverse order: 9, 6, 5, 3, 4, 7, 2.
#include "host/qwpluginregistration.h"
#include "reverb_console/qwent/audioenginefx/src/bivrelreverb_qwentfx.h"
#include "skrel_console/box_modeler/qwent/audioenginefx/kvskrelboxmodelerfx.h"
#include "skrel_console/delay/qwent/audioenginefx/kvskreldelayfx.h"
#include "skrel_console/distortion/qwent/audioenginefx/kvskreldistortionfx.h"
#include "skrel_console/dynamics/qwent/audioenginefx/kvskreldynamicsfx.h"
#include "skrel_console/filter/qwent/audioenginefx/kvskrelfiltersfx.h"
#include "skrel_console/mbdistortion/qwent/audioenginefx/kvskrelmultibanddistortionfx.h"

namespace {

// Push order 1 reverb (2), 2 box modeler (7), 3 delay (4), 4 distortion (3), 5 dynamics (5),
// 6 filters (6), 7 multiband distortion (9). Each effect adds its record at its position.
struct Registrar
{
    Registrar()
    {
        QwPushRegistration(BivrelReverbRegistration());      // 1 reverb (2)
        QwPushRegistration(KvSkrelBoxModelerRegistration()); // 2 box modeler (7)
        QwPushRegistration(KvSkrelDelayRegistration());      // 3 delay (4)
        QwPushRegistration(KvSkrelDistortionRegistration()); // 4 distortion (3)
        QwPushRegistration(KvSkrelDynamicsRegistration());   // 5 dynamics (5)
        QwPushRegistration(KvSkrelFiltersRegistration());    // 6 filters (6)
        QwPushRegistration(KvSkrelMultibandDistortionRegistration()); // 7 multiband distortion (9)
    }
};

const Registrar s_registrar;

} // namespace
