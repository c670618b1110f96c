// What every qwfx subcommand shares: its arguments, the loaded module with the assertion
// recorder in its slot, and one-line error reporting.
#pragma once
#include <functional>
#include <string>
#include <vector>
#include "qwfx/lib/qwassertlog.h"
#include "qwfx/lib/qwhostallocator.h"
#include "qwfx/lib/qwmodule.h"

// Exit statuses: 0 done, 1 a run failed (file, module, Init), 2 the command line is wrong,
// 3 --strict and an assertion fired.
enum : int { QWFX_OK = 0, QWFX_FAILED = 1, QWFX_USAGE = 2, QWFX_ASSERTED = 3 };

struct QwfxArgs
{
    std::string sModulePath;          // --module, or libkvfx.so beside the executable
    std::vector<std::string> args;    // what follows the subcommand, --module taken out
};

class QwfxSession
{
public:
    // Loads the module and installs the recorder in its assertion slot; false after
    // printing why.
    bool Open(const std::string& in_sModulePath);
    QwModule module;
    QwAssertLog asserts;
};

// Prints "qwfx: MESSAGE" on stderr and returns the status.
int QwfxError(int in_iStatus, const std::string& in_sMessage);

// Option values: "--name value" or "--name=value". Returns true when args[io_i] is that
// option; a missing value is reported in out_sError.
bool QwfxTakeOption(const std::vector<std::string>& in_args, size_t& io_i, const char* in_pszName,
                    std::string& out_sValue, std::string& out_sError);

// A whole decimal number from in_sMin to in_sMax, nothing else in the text.
bool QwfxParseWhole(const std::string& in_sText, long in_sMin, long in_sMax, long& out_sValue);

// The budget of qwfx's host allocator, as a game engine's pool has one: --memory-limit MB.
const long QWFX_DEFAULT_MEMORY_LIMIT_MB = 1024;
// "" when the allocator refused nothing, else "; the memory limit of N MB refused ..." for an
// error line.
std::string QwfxMemoryLimitNote(const QwHostAllocator& in_allocator);

int QwfxList(const QwfxArgs& in_args);
int QwfxParams(const QwfxArgs& in_args);
int QwfxRender(const QwfxArgs& in_args);
int QwfxDemo(const QwfxArgs& in_args);
int QwfxBench(const QwfxArgs& in_args);
int QwfxBoxModel(const QwfxArgs& in_args);
int QwfxResponse(const QwfxArgs& in_args);
int QwfxCurve(const QwfxArgs& in_args);
int QwfxReverbModel(const QwfxArgs& in_args);
int QwfxModelReverb(const QwfxArgs& in_args);
int QwfxDecay(const QwfxArgs& in_args);

// Runs in_work on this thread while another says on stderr, once a second has passed, that
// in_pszWhat is still going.
void QwfxRunWithProgress(const char* in_pszWhat, const std::function<void()>& in_work);
int QwfxTransients(const QwfxArgs& in_args);
int QwfxStress(const QwfxArgs& in_args);

// The SVG sheet of all distortion curves, written by qwfx demo; false with a reason.
bool QwfxWriteCurveSheet(const std::string& in_sPath, std::string& out_sError);
