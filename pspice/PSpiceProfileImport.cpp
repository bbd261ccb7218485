#include "pspice/PSpiceProfileImport.h"

#include <stdexcept>

#include "platform/Status.h"
#include "platform/TextCompare.h"
#include "platform/TextFiles.h"

namespace orcadx::pspice {

using platform::SameTextNoCase;

// ---- project file ---------------------------------------------------------------------------

TOrcadFileField::~TOrcadFileField() {
    std::vector<std::unique_ptr<TOrcadFileField>> pending = std::move(SubFields);
    while (!pending.empty()) {
        std::unique_ptr<TOrcadFileField> field = std::move(pending.back());
        pending.pop_back();
        for (auto& sub : field->SubFields) pending.push_back(std::move(sub));
        field->SubFields.clear();
    }
}

namespace {

bool IsBlank(char c) { return c == 9 || c == 10 || c == 13 || c == 32; }

// Reads the project file's text one character at a time.
class TFieldReader {
public:
    explicit TFieldReader(const std::string& text) : text_(text) {}
    bool AtEnd() const { return pos_ >= text_.size(); }
    char Current() const { return text_[pos_]; }
    void Step() { ++pos_; }
    void SkipBlanks() {
        while (!AtEnd() && IsBlank(Current())) Step();
    }

    // One token: a quoted token runs to the next double quote, quotes kept and nothing inside it
    // special; any other ends before "(", ")" or a blank. Blanks behind it are skipped. `endedByFile`
    // tells that the file ended inside the token.
    std::string Token(bool& endedByFile) {
        std::string token;
        endedByFile = false;
        if (!AtEnd() && Current() == '"') {
            token += '"';
            Step();
            while (!AtEnd() && Current() != '"') token += text_[pos_++];
            if (AtEnd()) {
                endedByFile = true;
            } else {
                token += '"';
                Step();
            }
        } else {
            while (!AtEnd() && Current() != '(' && Current() != ')' && !IsBlank(Current())) token += text_[pos_++];
            endedByFile = AtEnd();
        }
        SkipBlanks();
        return token;
    }

    // The field that starts at the current "(", with all its sub-fields; null when the file ends
    // inside its name. Nested fields are kept on a stack of their own rather than the call stack.
    std::unique_ptr<TOrcadFileField> Field() {
        std::unique_ptr<TOrcadFileField> root;
        std::vector<TOrcadFileField*> open;
        auto start = [&]() {
            Step();
            bool endedByFile = false;
            std::string name = Token(endedByFile);
            if (endedByFile) return;
            auto field = std::make_unique<TOrcadFileField>(name);
            TOrcadFileField* raw = field.get();
            if (open.empty())
                root = std::move(field);
            else
                open.back()->SubFields.push_back(std::move(field));
            open.push_back(raw);
        };
        start();
        while (!open.empty() && !AtEnd()) {
            if (Current() == '(') {
                start();
            } else if (Current() == ')') {
                Step();
                SkipBlanks();
                open.pop_back();
            } else {
                bool endedByFile = false;
                std::string token = Token(endedByFile);
                if (!token.empty()) open.back()->Values.push_back(token);
            }
        }
        return root;
    }

private:
    const std::string& text_;
    size_t pos_ = 0;
};

// A value without its quotes, when it has at least 3 characters and both starts and ends with one.
std::string Unquote(const std::string& value) {
    if (value.size() >= 3 && value.front() == '"' && value.back() == '"') return value.substr(1, value.size() - 2);
    return value;
}

}  // namespace

bool TOrcadProject::Load() {
    ExpressProject.reset();
    std::string text;
    if (!platform::ReadTextFile(platform::FindFileNoCase(FileName), text)) return false;
    if (text.empty() || text[0] != '(') return false;
    TFieldReader reader(text);
    ExpressProject = reader.Field();
    return ExpressProject && ExpressProject->Name == "ExpressProject";
}

bool TOrcadProject::GetProfileFileNames(std::string& active, TStrings& list) const {
    list.clear();
    if (!ExpressProject) return false;
    auto fullPath = [&](const std::string& value) {
        return platform::FindFileNoCase(platform::MakeFullPath(FileName, value));
    };
    auto readProfiles = [&](const TOrcadFileField& profiles) {
        for (const auto& field : profiles.SubFields) {
            bool isFile = SameTextNoCase(field->Name, "File.PSpice.{09528990-3187-11D2-BC7B-00A0C90CBF91}");
            bool isActive = SameTextNoCase(field->Name, "ActiveProfile");
            if (!isFile && !isActive) continue;
            std::string value = Unquote(field->FirstValue());
            if (isActive) {
                active = value.empty() ? value : fullPath(value);
            } else if (!value.empty()) {
                list.push_back(fullPath(value));
            }
        }
    };
    // Depth first, in file order; the walk doesn't descend into a "PSpice Resources" folder.
    std::vector<const TOrcadFileField*> pending{ExpressProject.get()};
    while (!pending.empty()) {
        const TOrcadFileField* field = pending.back();
        pending.pop_back();
        if (SameTextNoCase(field->Name, "Folder") && SameTextNoCase(field->FirstValue(), "\"PSpice Resources\"")) {
            for (const auto& sub : field->SubFields)
                if (SameTextNoCase(sub->Name, "Folder") && SameTextNoCase(sub->FirstValue(), "\"Simulation Profiles\""))
                    readProfiles(*sub);
            continue;
        }
        for (size_t i = field->SubFields.size(); i-- > 0;) pending.push_back(field->SubFields[i].get());
    }
    return !list.empty();
}

// ---- profile file ---------------------------------------------------------------------------

const std::array<const char*, 29> kProfileOptionNames = {
    "ABSTOL",       "CHGTOL",      "DEFAD",    "DEFAS",        "DEFL",    "DEFW",       "DIGDRVF",
    "DIGDRVZ",      "DIGERRDEFAULT", "DIGERRLIMIT", "DIGINITSTATE", "DIGIOLVL", "DIGMNTYMX", "DIGMNTYSCALE",
    "DIGOVRDRV",    "DIGMXTYSCALE", "GMIN",     "ITL1",         "ITL2",    "ITL4",       "ITL5",
    "NUMDGT",       "PIVREL",      "PIVTOL",   "RELTOL",       "TNOM",    "VNTOL",      "WIDTH",
    "SOLVER"};

namespace {

// A value that the profile's format calls for but the line doesn't hold as it should.
struct TBadValue {};

std::string_view TrimView(std::string_view text) {
    while (!text.empty() && static_cast<unsigned char>(text.front()) <= ' ') text.remove_prefix(1);
    while (!text.empty() && static_cast<unsigned char>(text.back()) <= ' ') text.remove_suffix(1);
    return text;
}

// The line without its first character, whatever it is.
std::string_view DropFirst(std::string_view line) { return line.empty() ? line : line.substr(1); }

// The next token of an integer reader: the trimmed text up to the first tab or blank; the rest,
// trimmed, stays.
std::string_view NextToken(std::string_view& rest) {
    rest = TrimView(rest);
    size_t end = rest.find_first_of(" \t");
    std::string_view token = rest.substr(0, end);
    rest = end == std::string_view::npos ? std::string_view() : TrimView(rest.substr(end));
    return token;
}

// A token in decimal; an empty token reads as 0.
int32_t TokenValue(std::string_view token) {
    if (token.empty()) return 0;
    size_t i = token[0] == '+' || token[0] == '-' ? 1 : 0;
    if (i == token.size()) throw TBadValue{};
    int64_t v = 0;
    for (; i < token.size(); ++i) {
        if (token[i] < '0' || token[i] > '9' || v > (int64_t(1) << 31)) throw TBadValue{};
        v = v * 10 + (token[i] - '0');
    }
    if (token[0] == '-') v = -v;
    if (v < INT32_MIN || v > INT32_MAX) throw TBadValue{};
    return static_cast<int32_t>(v);
}

// The tokens of a flags line, after its first character.
class TFlags {
public:
    explicit TFlags(std::string_view line) {
        std::string_view rest = DropFirst(line);
        while (!TrimView(rest).empty()) tokens_.push_back(NextToken(rest));
    }
    int32_t Integer(size_t index) const { return index < tokens_.size() ? TokenValue(tokens_[index]) : 0; }
    bool Boolean(size_t index) const { return Integer(index) != 0; }

private:
    std::vector<std::string_view> tokens_;
};

// A quoted string: when the trimmed text starts with a double quote, the text up to the next one
// or the end; otherwise empty.
std::string Quoted(std::string_view text) {
    text = TrimView(text);
    if (text.empty() || text[0] != '"') return "";
    size_t close = text.find('"', 1);
    return std::string(text.substr(1, close == std::string_view::npos ? std::string_view::npos : close - 1));
}

// The quoted string of a value line: its first character dropped, then an integer, which is not
// used, and the string.
std::string ValueText(std::string_view line) {
    std::string_view rest = DropFirst(line);
    NextToken(rest);
    return Quoted(rest);
}

}  // namespace

void TPSpiceSimulationProfile::Error(const std::string& text) const { platform::LogMessage(Log, 0, text + FileName); }

bool TPSpiceSimulationProfile::Load() {
    std::string text;
    if (!platform::ReadTextFile(platform::FindFileNoCase(FileName), text)) {
        Error("Simulation profile file not found - ");
        return false;
    }
    std::vector<std::string> lines = platform::SplitLines(text);
    if (lines.empty()) {
        Error("Simulation profile file is empty - ");
        return false;
    }
    if (!SameTextNoCase(lines[0], "@OrCAD Simulation Server Version: 1.0")) {
        Error("Unrecognised simulation profile file version - ");
        return false;
    }
    const size_t count = lines.size();
    size_t i = 1;
    while (i < count) {
        const std::string& line = lines[i];
        size_t colon = line.empty() || line[0] != '@' ? std::string::npos : line.find(':', 1);
        if (colon == std::string::npos) {
            ++i;
            continue;
        }
        // The section runs to the line before its closing "@End..." line; a header followed
        // directly by another "@" line is a section of one line.
        size_t first = i, last = i;
        while (last < count - 1) {
            const std::string& next = lines[last + 1];
            if (!next.empty() && next[0] == '@') {
                if (last == first) break;
                if (next.compare(1, 3, "End") == 0) {
                    i = last + 1;
                    break;
                }
            }
            ++last;
        }
        if (!ReadSection(lines, line.substr(1, colon - 1), line.substr(colon + 1), first, last)) return false;
        ++i;
    }
    return true;
}

bool TPSpiceSimulationProfile::ReadSection(const std::vector<std::string>& lines, const std::string& name,
                                           const std::string& header, size_t first, size_t last) {
    if (SameTextNoCase(name, "Settings")) {
        if (last > first) {
            Error("Could not read settings from simulation profile - ");
            return false;
        }
        return true;
    }
    if (SameTextNoCase(name, "General")) {
        ReadGeneral(lines, first, last);
        return true;
    }
    if (SameTextNoCase(name, "Analysis")) return ReadAnalysis(lines, header, first, last);
    return false;
}

void TPSpiceSimulationProfile::ReadGeneral(const std::vector<std::string>& lines, size_t first, size_t last) {
    const std::pair<const char*, std::string*> kKeys[] = {
        {"ProfileName", &ProfileName}, {"ProfileFile", &ProfileFile},       {"DesignFile", &DesignFile},
        {"ProjectFile", &ProjectFile}, {"NetlistFile", &NetlistFile},       {"RootSchematics", &RootSchematics},
        {"DataFile", &DataFile},       {"OutFile", &OutFile}};
    for (size_t k = first + 1; k <= last; ++k) {
        const std::string& line = lines[k];
        if (!line.empty() && line[0] == '@') {
            // A block "@#$BEGIN..." to "@#$END..." (notes) is passed over whole.
            if (line.compare(1, 7, "#$BEGIN") == 0)
                while (k < last && lines[++k].rfind("@#$END", 0) != 0) {
                }
            continue;
        }
        size_t eq = line.find('=');
        if (eq == std::string::npos) continue;
        std::string key = line.substr(0, eq);
        for (const auto& [name, field] : kKeys)
            if (SameTextNoCase(key, name)) *field = platform::TrimBlanks(line.substr(eq + 1));
    }
}

bool TPSpiceSimulationProfile::ReadAnalysis(const std::vector<std::string>& lines, const std::string& header,
                                            size_t first, size_t last) {
    std::string_view rest = header;
    // The id as the header gives it, until it has been read as a number.
    std::string idText(NextToken(rest));
    auto fail = [&]() {
        Error("Could not read analysis " + idText + " section of profile file - ");
        return false;
    };
    try {
        const int32_t id = TokenValue(idText);
        idText = std::to_string(id);
        const bool enabled = TokenValue(NextToken(rest)) != 0;
        // The line after the header holds the flags, and the value lines follow; id 9 has no flags.
        const bool hasFlags = !(id == 8 || id == 9 || (id >= 12 && id <= 19));
        if (hasFlags && first + 1 > last) return fail();
        const size_t valueStart = id == 9 ? first + 1 : first + 2;
        const size_t values = last + 1 > valueStart ? last + 1 - valueStart : 0;
        auto need = [&](size_t count) {
            if (values < count) throw TBadValue{};
        };
        auto value = [&](size_t index) { return index < values ? ValueText(lines[valueStart + index]) : std::string(); };
        std::string_view flagsLine = hasFlags ? std::string_view(lines[first + 1]) : std::string_view();
        TFlags flags(flagsLine);
        switch (id) {
        case 0:
            need(7);
            Transient.Enabled = enabled;
            Transient.UseInitialConditions = flags.Boolean(0);
            Transient.FourierEnabled = flags.Boolean(1);
            Transient.StopTime = value(0);
            Transient.StartTime = value(2);
            Transient.MaxStep = value(3);
            Transient.FourierFrequency = value(4);
            Transient.Harmonics = value(6);
            break;
        case 1:
            need(6);
            AC.Enabled = enabled;
            AC.SweepKind = flags.Integer(0);
            AC.NoiseEnabled = flags.Boolean(1);
            AC.Points = value(0);
            AC.StartFrequency = value(1);
            AC.StopFrequency = value(2);
            AC.NoiseOutput = value(3);
            AC.NoiseSource = value(4);
            break;
        case 2:
        case 10: {
            need(8);
            TPSpiceDCSweepRecord& dc = id == 2 ? PrimaryDCSweep : SecondaryDCSweep;
            dc.Enabled = enabled;
            dc.SweepKind = flags.Integer(0);
            dc.VariableKind = flags.Integer(1);
            dc.SourceName = value(0);
            dc.Start = value(4);
            dc.Stop = value(5);
            dc.Step = value(6);
            break;
        }
        case 3:
            BiasPoint.Enabled = enabled;
            BiasPoint.TransferFunctionEnabled = flags.Boolean(2);
            BiasPoint.TransferFunctionSource = value(1);
            break;
        case 4:
            need(8);
            MonteCarlo.Enabled = enabled;
            MonteCarlo.Distribution = flags.Integer(0);
            MonteCarlo.Runs = value(0);
            MonteCarlo.Seed = value(2);
            break;
        case 5:
            need(8);
            ParametricSweep.Enabled = enabled;
            ParametricSweep.SweepKind = flags.Integer(0);
            ParametricSweep.VariableKind = flags.Integer(1);
            ParametricSweep.SourceName = value(0);
            ParametricSweep.ParameterName = value(1);
            ParametricSweep.Start = value(4);
            ParametricSweep.Stop = value(5);
            ParametricSweep.Step = value(6);
            break;
        case 6:
            need(1);
            Temperature.Enabled = enabled;
            break;
        case 7:
            need(5);
            break;
        case 9:
            need(1);
            break;
        case 11:
            for (size_t f = 0; f < OptionFlags.size(); ++f) OptionFlags[f] = flags.Boolean(f);
            for (size_t k = valueStart; k <= last; ++k) {
                // An option line: one character, blanks, one more character, the name, a quoted
                // string.
                std::string_view text = DropFirst(TrimView(DropFirst(lines[k])));
                size_t end = text.find_first_of(" \t\r\n");
                std::string_view name = text.substr(0, end);
                std::string_view after = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
                for (size_t o = 0; o < kProfileOptionNames.size(); ++o)
                    if (SameTextNoCase(name, kProfileOptionNames[o])) OptionValues[o] = Quoted(after);
            }
            break;
        default:
            if (id == 8 || (id >= 12 && id <= 19)) break;
            throw TBadValue{};
        }
        return true;
    } catch (const TBadValue&) {
        return fail();
    }
}

// ---- translation into the host's settings ---------------------------------------------------

void TPSpiceSimulationProfile::Export_ToQsolveSettings(TBaseQsolveNetlistSettings& settings) const {
    auto eng = [](const std::string& text) { return ParseEng(text, false); };
    auto error = [&](const std::string& text) { platform::LogMessage(Log, 0, text + ProfileName); };
    auto sweepKind = [&](const char* what, int32_t kind) {
        static constexpr const char* kKinds[] = {"", "octave", "decade", "list"};
        if (kind >= 1 && kind <= 3)
            error(std::string(what) + " sweep type of \"" + kKinds[kind] + "\" not possible in Vantor Studio - ");
    };
    auto variableKind = [&](const char* what, int32_t kind) {
        static constexpr const char* kKinds[] = {"", "", "Global Parameter", "Model Parameter", "Temperature"};
        if (kind >= 2 && kind <= 4)
            error(std::string(what) + " sweep variable type \"" + kKinds[kind] + "\" not possible in Vantor Studio - ");
    };

    if (Transient.Enabled) {
        TTransientAnalysis& t = *settings.Transient;
        t.Active = true;
        t.AlwaysSetDefaults = false;
        t.UseInitialConditions = Transient.UseInitialConditions;
        t.StartTime = eng(Transient.StartTime);
        t.StopTime = eng(Transient.StopTime);
        t.MaxStepTime = Transient.MaxStep.empty() ? t.StopTime / 50.0 : eng(Transient.MaxStep);
        t.StepTime = t.MaxStepTime;
        t.FourierAnalysis = Transient.FourierEnabled;
        t.FundamentalFrequency = eng(Transient.FourierFrequency);
        t.Harmonics = LeadingInteger(Transient.Harmonics);
    }
    if (AC.Enabled) {
        TACAnalysis& a = *settings.AC;
        a.Active = true;
        if (AC.SweepKind >= 0 && AC.SweepKind <= 2) a.SweepType = static_cast<TSweepType>(AC.SweepKind);
        a.TestPoints = LeadingInteger(AC.Points);
        a.StartFrequency = eng(AC.StartFrequency);
        a.StopFrequency = eng(AC.StopFrequency);
        if (AC.NoiseEnabled) {
            TNoiseAnalysis& n = *settings.Noise;
            n.Active = true;
            n.SweepType = a.SweepType;
            n.TestPoints = a.TestPoints;
            n.Start = eng(AC.StartFrequency);
            n.Stop = eng(AC.StopFrequency);
            n.Output = AC.NoiseOutput;
            n.Source = AC.NoiseSource;
        }
    }
    TDCSweepAnalysis& dc = *settings.DCSweep;
    if (PrimaryDCSweep.Enabled) {
        dc.Active = true;
        sweepKind("Primary DC", PrimaryDCSweep.SweepKind);
        variableKind("Primary DC", PrimaryDCSweep.VariableKind);
        dc.PrimarySource = PrimaryDCSweep.SourceName;
        dc.PrimaryStart = eng(PrimaryDCSweep.Start);
        dc.PrimaryStop = eng(PrimaryDCSweep.Stop);
        dc.PrimaryStep = eng(PrimaryDCSweep.Step);
    }
    if (SecondaryDCSweep.Enabled) {
        dc.EnableSecondary = true;
        sweepKind("Secondary DC", SecondaryDCSweep.SweepKind);
        variableKind("Secondary DC", SecondaryDCSweep.VariableKind);
        dc.SecondarySource = SecondaryDCSweep.SourceName;
        dc.SecondaryStart = eng(SecondaryDCSweep.Start);
        dc.SecondaryStop = eng(SecondaryDCSweep.Stop);
        dc.SecondaryStep = eng(SecondaryDCSweep.Step);
    }
    if (BiasPoint.Enabled) {
        settings.OperatingPoint->Active = true;
        if (BiasPoint.TransferFunctionEnabled) {
            settings.TransferFunction->Active = true;
            settings.TransferFunction->Source = BiasPoint.TransferFunctionSource;
            settings.TransferFunction->Reference = std::string(1, '0');  // a literal here trips a false -Wrestrict of g++ 12
        }
    }
    if (ParametricSweep.Enabled && ParametricSweep.VariableKind != 4) {
        TParameterSweepAnalysis& p = *settings.ParameterSweep;
        p.Active = true;
        sweepKind("Parametric", ParametricSweep.SweepKind);
        if (ParametricSweep.VariableKind == 0 || ParametricSweep.VariableKind == 1)
            p.Parameter1 = ParametricSweep.SourceName;
        else if (ParametricSweep.VariableKind == 2)
            p.Parameter1 = ParametricSweep.ParameterName;
        else if (ParametricSweep.VariableKind == 3)
            error("Parametric sweep variable type \"Model Parameter\" not possible in Vantor Studio - ");
        p.Start1 = eng(ParametricSweep.Start);
        p.Stop1 = eng(ParametricSweep.Stop);
        p.Step1 = eng(ParametricSweep.Step);
    }
    if (ParametricSweep.Enabled && ParametricSweep.VariableKind == 4) {
        TTemperatureSweepAnalysis& t = *settings.TemperatureSweep;
        t.Active = true;
        sweepKind("Parametric", ParametricSweep.SweepKind);
        t.Start = eng(ParametricSweep.Start);
        t.Stop = eng(ParametricSweep.Stop);
        t.Step = eng(ParametricSweep.Step);
    }
    if (Temperature.Enabled) {
        if (settings.TemperatureSweep->Active)
            error("Temperature sweep options already specified in Parametric sweep setup, settings ignored - ");
        else
            settings.TemperatureSweep->Active = true;
    }
    if (MonteCarlo.Enabled) {
        TMonteCarloAnalysis& m = *settings.MonteCarlo;
        m.Active = true;
        if (MonteCarlo.Distribution == 0) m.DistributionType = eGaussian;
        if (MonteCarlo.Distribution == 1) m.DistributionType = eWorstCase;
        m.NumberOfRuns = LeadingInteger(MonteCarlo.Runs);
        m.Seed = LeadingInteger(MonteCarlo.Seed);
    }
    const std::pair<size_t, const char*> kFlags[] = {
        {kOptionFlagACCT, "ACCT"}, {kOptionFlagLIST, "LIST"}, {kOptionFlagOPTS, "OPTS"}};
    for (const auto& [index, name] : kFlags)
        if (OptionFlags[index]) settings.SpiceOptions->SetOptionValueByName(name, "YES");
    static constexpr const char* kCarried[] = {"ABSTOL", "CHGTOL", "DEFAD", "DEFAS", "DEFL",   "DEFW",   "GMIN",  "ITL1",
                                               "ITL2",   "ITL4",   "ITL5",  "PIVREL", "PIVTOL", "RELTOL", "TNOM", "VNTOL"};
    for (size_t o = 0; o < kProfileOptionNames.size(); ++o) {
        if (OptionValues[o].empty()) continue;
        for (const char* name : kCarried)
            if (SameTextNoCase(name, kProfileOptionNames[o])) settings.SpiceOptions->SetOptionValueByName(name, OptionValues[o]);
    }
    settings.PoleZero->Active = false;
}

}  // namespace orcadx::pspice
