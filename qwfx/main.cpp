// qwfx: loads the effect module and runs its effects on audio files.
#include <cstdio>
#include <cstring>
#include "qwfx/qwfxcli.h"

namespace {

const char* const USAGE =
    "usage: qwfx [--module PATH] COMMAND ...\n"
    "  list                      the module's effects, in registration order\n"
    "  params EFFECT             an effect's parameters\n"
    "  render EFFECT IN OUT      run an effect over an audio file, writing a 32-bit float WAV\n"
    "      [--params BLOCK.bin] [--set NAME|ID=VALUE]... [--media FILE | --ir IR.wav [--channels A,B]]\n"
    "      [--block N] [--layout mono|stereo|4.0|5.0|5.1|7.1] [--max-tail SECONDS] [--strict]\n"
    "      [--params BLOCK.bin] [--set NAME|ID=VALUE]... [--media FILE | --ir IR.wav]\n"
    "      [--block N | --blocks N1,N2,...] [--layout mono|stereo|4.0|5.0|5.1|7.1] [--max-tail SECONDS]\n"
    "      [--memory-limit MB (default 1024)] [--strict]\n"
    "  demo [DIR]                render a test programme through every effect (default qwfx-demo/)\n"
    "  box-model IR.wav -o MODEL.bin [--channel N] [--gain-db G]\n"
    "                            pack an impulse response as the box modeler's media\n"
    "  bench [EFFECT] [--seconds S] [--block N]\n"
    "                            speed of each effect and preset at blocks of 512 and 64, or N\n"
    "  curve ALGORITHM [--drive D] [--character C] [--svg FILE]\n"
    "                            static transfer curve of a distortion algorithm (number or name;\n"
    "                            all --svg FILE draws the sheet of all 48)\n"
    "  response EFFECT           magnitude response from an impulse, mono; printed, or drawn\n"
    "      [--params BLOCK.bin] [--set NAME|ID=VALUE]... [--svg FILE] [--rate HZ] [--length N]\n"
    "  reverb-model -o MODEL.bin [--rate HZ] [--early-ms MS] [--decay S]\n"
    "                            a synthetic model record for the reverb (--media of render reverb)\n"
    "  model-reverb IR.wav -o MODEL.bin [--channels A,B] [--order 8|16] [--svg FILE]\n"
    "                            fit the reverb's model to a measured room response\n"
    "  decay A.wav [B.wav]       T30 and EDT per octave (and B's errors against A)\n"
    "  transients IN.wav [--order N] [--frame MS] [--hop MS] [--top N] [--min-gap MS] [--csv FILE]\n"
    "                            the strongest clicks, dropouts and edits, where linear prediction fails\n"
    "  stress [EFFECT] [--seconds S] [--seed N]\n"
    "                            drive each effect as a hostile host would, S seconds each (10)\n"
    "EFFECT is a short name (qwfx list) or a plug-in id.\n";

} // namespace

int main(int argc, char** argv)
{
    QwfxArgs args;
    args.sModulePath = QwDefaultModulePath();
    std::string sCommand;
    for (int i = 1; i < argc; ++i) {
        const std::string sArg = argv[i];
        if (sArg == "--module" || sArg.compare(0, 9, "--module=") == 0) {
            if (sArg == "--module" && i + 1 >= argc)
                return QwfxError(QWFX_USAGE, "option --module needs a path");
            args.sModulePath = sArg == "--module" ? argv[++i] : sArg.substr(9);
        } else if (sCommand.empty() && (sArg == "--help" || sArg == "-h")) {
            std::fputs(USAGE, stdout);
            return QWFX_OK;
        } else if (sCommand.empty()) {
            sCommand = sArg;
        } else {
            args.args.push_back(sArg);
        }
    }
    if (sCommand.empty()) {
        std::fputs(USAGE, stderr);
        return QWFX_USAGE;
    }
    if (sCommand == "list")
        return QwfxList(args);
    if (sCommand == "params")
        return QwfxParams(args);
    if (sCommand == "render")
        return QwfxRender(args);
    if (sCommand == "demo")
        return QwfxDemo(args);
    if (sCommand == "bench")
        return QwfxBench(args);
    if (sCommand == "box-model")
        return QwfxBoxModel(args);
    if (sCommand == "curve")
        return QwfxCurve(args);
    if (sCommand == "response")
        return QwfxResponse(args);
    if (sCommand == "stress")
        return QwfxStress(args);
    if (sCommand == "reverb-model")
        return QwfxReverbModel(args);
    if (sCommand == "model-reverb")
        return QwfxModelReverb(args);
    if (sCommand == "decay")
        return QwfxDecay(args);
    if (sCommand == "transients")
        return QwfxTransients(args);
    return QwfxError(QWFX_USAGE, "unknown command '" + sCommand + "' (try qwfx --help)");
}
