// Writes the bundle's Turtle (manifest.ttl and one file per effect) from the module's
// registration list and the host library's parameter tables, the ones qwfx params prints.
// Run by the build: kvfx_lv2_ttl MODULE OUTDIR BINARY
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>
#include "lv2/qwlv2names.h"
#include "qwfx/lib/qwmodule.h"

namespace {

const char PREFIXES[] =
    "@prefix atom: <http://lv2plug.in/ns/ext/atom#> .\n"
    "@prefix bufsz: <http://lv2plug.in/ns/ext/buf-size#> .\n"
    "@prefix doap: <http://usefulinc.com/ns/doap#> .\n"
    "@prefix log: <http://lv2plug.in/ns/ext/log#> .\n"
    "@prefix lv2: <http://lv2plug.in/ns/lv2core#> .\n"
    "@prefix opts: <http://lv2plug.in/ns/ext/options#> .\n"
    "@prefix patch: <http://lv2plug.in/ns/ext/patch#> .\n"
    "@prefix rdf: <http://www.w3.org/1999/02/22-rdf-syntax-ns#> .\n"
    "@prefix rdfs: <http://www.w3.org/2000/01/rdf-schema#> .\n"
    "@prefix state: <http://lv2plug.in/ns/ext/state#> .\n"
    "@prefix units: <http://lv2plug.in/ns/extensions/units#> .\n"
    "@prefix urid: <http://lv2plug.in/ns/ext/urid#> .\n"
    "@prefix work: <http://lv2plug.in/ns/ext/worker#> .\n\n";

// Numbers as Turtle decimals (a bare integer would be read as xsd:integer).
std::string Decimal(double in_fValue)
{
    char aText[64];
    std::snprintf(aText, sizeof aText, "%.9g", in_fValue);
    std::string s = aText;
    if (s.find_first_of(".eE") == std::string::npos)
        s += ".0";
    return s;
}

std::string Quoted(const std::string& in_s)
{
    std::string s = "\"";
    for (char c : in_s)
        s += (c == '"' || c == '\\') ? std::string("\\") + c : std::string(1, c);
    return s + "\"";
}

std::string UnitOf(const char* in_pszUnit)
{
    static const struct { const char* pszTable; const char* pszTurtle; } s_aUnits[] = {
        {"dB", "units:db"}, {"ms", "units:ms"}, {"Hz", "units:hz"}, {"%", "units:pc"}, {"s", "units:s"},
    };
    for (const auto& unit : s_aUnits)
        if (std::strcmp(in_pszUnit, unit.pszTable) == 0)
            return unit.pszTurtle;
    if (std::strcmp(in_pszUnit, ":1") == 0)
        return "[ a units:Unit ; rdfs:label \"ratio\" ; units:symbol \":1\" ; units:render \"%f:1\" ]";
    return "";
}

const char* PluginClass(const char* in_pszShortName)
{
    static const struct { const char* pszName; const char* pszClass; } s_aClasses[] = {
        {"reverb", "lv2:ReverbPlugin"},         {"distortion", "lv2:DistortionPlugin"},
        {"multiband-distortion", "lv2:DistortionPlugin"}, {"delay", "lv2:DelayPlugin"},
        {"dynamics", "lv2:DynamicsPlugin"},     {"filters", "lv2:FilterPlugin"},
        {"box-modeler", "lv2:SimulatorPlugin"},
    };
    for (const auto& entry : s_aClasses)
        if (std::strcmp(in_pszShortName, entry.pszName) == 0)
            return entry.pszClass;
    return "lv2:Plugin";
}

const char* MediaLabel(const char* in_pszShortName)
{
    return std::strcmp(in_pszShortName, "reverb") == 0 ? "model (model record, or WAV room response)"
                                                        : "impulse response (WAV)";
}

void ControlPort(std::ostream& out, uint32_t in_uIndex, const QwParamMeta& in_param)
{
    out << "\t\ta lv2:InputPort, lv2:ControlPort ;\n"
        << "\t\tlv2:index " << in_uIndex << " ;\n"
        << "\t\tlv2:symbol " << Quoted(QwLv2PortSymbol(in_param.pszName)) << " ;\n"
        << "\t\tlv2:name " << Quoted(in_param.pszName) << " ;\n"
        << "\t\trdfs:comment " << Quoted("parameter " + std::to_string(in_param.uId) + ", " +
                                         (in_param.eType == QwParamType::U32 ? "u32" : "f32"))
        << " ;\n"
        << "\t\tlv2:default " << Decimal(in_param.fDefault) << " ;\n"
        << "\t\tlv2:minimum " << Decimal(in_param.fMin) << " ;\n"
        << "\t\tlv2:maximum " << Decimal(in_param.fMax);
    if (in_param.eType == QwParamType::U32)
        out << " ;\n\t\tlv2:portProperty lv2:integer";
    if (in_param.apszChoices) {
        out << ", lv2:enumeration";
        for (uint32_t k = 0; k < in_param.uChoiceCount; ++k)
            out << " ;\n\t\tlv2:scalePoint [ rdfs:label " << Quoted(in_param.apszChoices[k]) << " ; rdf:value "
                << Decimal(k) << " ]";
    }
    const std::string sUnit = UnitOf(in_param.pszUnit ? in_param.pszUnit : "");
    if (!sUnit.empty())
        out << " ;\n\t\tunits:unit " << sUnit;
    out << "\n";
}

std::string PluginTurtle(const QwEffectMeta& in_meta, const QwLv2Layout& in_layout)
{
    const QwLv2Ports ports(in_meta, in_layout);
    const std::string sUri = "<" + QwLv2PluginUri(in_meta, in_layout) + ">";
    std::ostringstream out;
    out << PREFIXES;
    if (ports.bMedia)
        out << "<" << QwLv2MediaPropertyUri(in_meta) << ">\n\ta lv2:Parameter ;\n\trdfs:label "
            << Quoted(MediaLabel(in_meta.pszShortName)) << " ;\n\trdfs:range atom:Path .\n\n";
    out << sUri << "\n\ta lv2:Plugin, " << PluginClass(in_meta.pszShortName) << " ;\n"
        << "\tdoap:name " << Quoted(std::string("kvfx ") + in_meta.pszShortName + " (" + in_layout.pszLabel + ")")
        << " ;\n"
        << "\trdfs:comment \"Parameters go to the effect as they are, once per change: the effect does no "
           "smoothing. Output lags input by the latency port's frames.\" ;\n"
        << "\tlv2:requiredFeature bufsz:boundedBlockLength, opts:options ;\n"
        << "\topts:requiredOption bufsz:maxBlockLength ;\n"
        << "\topts:supportedOption bufsz:nominalBlockLength ;\n"
        << "\tlv2:optionalFeature lv2:hardRTCapable, log:log, work:schedule, bufsz:fixedBlockLength, "
           "bufsz:powerOf2BlockLength"
        << (ports.bMedia ? ", state:mapPath ;\n" : " ;\n");
    // Without urid:map the media stays the built-in one (lv2apply passes no features).
    out << "\tlv2:optionalFeature urid:map ;\n";
    if (ports.bMedia)
        out << "\tlv2:extensionData state:interface, work:interface ;\n"
            << "\tpatch:writable <" << QwLv2MediaPropertyUri(in_meta) << "> ;\n";
    else
        out << "\tlv2:extensionData work:interface ;\n";
    out << "\tlv2:port [\n";
    for (uint32_t i = 0; i < in_meta.uParamCount; ++i) {
        ControlPort(out, i, in_meta.pParams[i]);
        out << "\t] , [\n";
    }
    for (uint32_t uOut = 0; uOut < 2; ++uOut) {
        for (uint32_t c = 0; c < ports.uChannels; ++c) {
            const std::string sChannel = in_layout.apszChannels[c];
            const std::string sSide = uOut ? "out" : "in";
            out << "\t\ta lv2:" << (uOut ? "Output" : "Input") << "Port, lv2:AudioPort ;\n\t\tlv2:index "
                << (uOut ? ports.AudioOut(c) : ports.AudioIn(c)) << " ;\n\t\tlv2:symbol "
                << Quoted(sChannel.empty() ? sSide : sSide + "_" + sChannel) << " ;\n\t\tlv2:name "
                << Quoted(sChannel.empty() ? sSide : sSide + " " + sChannel) << "\n\t] , [\n";
        }
    }
    out << "\t\ta lv2:OutputPort, lv2:ControlPort ;\n\t\tlv2:index " << ports.Latency()
        << " ;\n\t\tlv2:symbol \"latency\" ;\n\t\tlv2:name \"latency\" ;\n"
        << "\t\tlv2:portProperty lv2:reportsLatency, lv2:integer ;\n\t\tunits:unit units:frame\n\t]";
    if (ports.bMedia)
        out << " , [\n\t\ta lv2:InputPort, atom:AtomPort ;\n\t\tatom:bufferType atom:Sequence ;\n"
            << "\t\tatom:supports patch:Message ;\n\t\tlv2:designation lv2:control ;\n"
            << "\t\tlv2:portProperty lv2:connectionOptional ;\n\t\tlv2:index " << ports.Control()
            << " ;\n\t\tlv2:symbol \"control\" ;\n\t\tlv2:name \"control\"\n\t] , [\n"
            << "\t\ta lv2:OutputPort, atom:AtomPort ;\n\t\tatom:bufferType atom:Sequence ;\n"
            << "\t\tatom:supports patch:Message ;\n\t\tlv2:designation lv2:control ;\n"
            << "\t\tlv2:portProperty lv2:connectionOptional ;\n\t\tlv2:index " << ports.Notify()
            << " ;\n\t\tlv2:symbol \"notify\" ;\n\t\tlv2:name \"notify\"\n\t]";
    out << " .\n";
    return out.str();
}

bool WriteFile(const std::string& in_sPath, const std::string& in_sText)
{
    std::ofstream file(in_sPath, std::ios::binary | std::ios::trunc);
    file << in_sText;
    file.close();
    if (!file) {
        std::fprintf(stderr, "kvfx_lv2_ttl: cannot write '%s'\n", in_sPath.c_str());
        return false;
    }
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 4) {
        std::fprintf(stderr, "usage: kvfx_lv2_ttl MODULE OUTDIR BINARY\n");
        return 2;
    }
    QwModule module;
    std::string sError;
    if (!module.Open(argv[1], sError)) {
        std::fprintf(stderr, "kvfx_lv2_ttl: %s\n", sError.c_str());
        return 1;
    }
    const std::string sDir = argv[2];
    std::ostringstream manifest;
    manifest << "@prefix lv2: <http://lv2plug.in/ns/lv2core#> .\n"
             << "@prefix rdfs: <http://www.w3.org/2000/01/rdf-schema#> .\n\n";
    for (const QwLv2Effect& effect : QwLv2Effects(module)) {
        const std::string sFile = std::string(effect.pMeta->pszShortName) + effect.pLayout->pszSuffix + ".ttl";
        manifest << "<" << QwLv2PluginUri(*effect.pMeta, *effect.pLayout) << ">\n\ta lv2:Plugin ;\n\tlv2:binary <"
                 << argv[3] << "> ;\n\trdfs:seeAlso <" << sFile << "> .\n\n";
        if (!WriteFile(sDir + "/" + sFile, PluginTurtle(*effect.pMeta, *effect.pLayout)))
            return 1;
    }
    return WriteFile(sDir + "/manifest.ttl", manifest.str()) ? 0 : 1;
}
