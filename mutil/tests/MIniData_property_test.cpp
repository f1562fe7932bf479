// Random sequences of changes, saves and reopenings, compared with a plain model of sections and lines.
#include <algorithm>
#include <cstdio>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <rapidcheck.h>
#include <rapidcheck/gtest.h>

#include "MIniData.h"
#include "log_recorder.h"
#include "temporary_folder.h"

namespace {

const std::vector<std::string> kSections = {"a", "B", "c d", "", " a"};
const std::vector<std::string> kEntries = {"k", "key", "K", "a b"};

struct Line {
    std::string name;    // empty for a comment or a blank line
    std::string before;  // up to the value
    std::string value;
};

// The expected ini data: the lines of each section in order.
struct Model {
    using Lines = std::vector<Line>;

    Line* find(const std::string& section, const std::string& entry) {
        const auto found = sections.find(section);
        if (found == sections.end()) return nullptr;
        for (Line& line : found->second.lines) {
            if (!line.name.empty() && line.name == entry) return &line;
        }
        return nullptr;
    }

    bool set(const std::string& section, const std::string& entry, const std::string& value) {
        if (Line* const line = find(section, entry)) {
            line->value = value;
            return true;
        }
        add(section);
        sections.at(section).lines.push_back({entry, entry + "=", value});
        return true;
    }

    bool add(const std::string& section) { return sections.try_emplace(section, Body{"[" + section + "]", {}}).second; }

    bool erase(const std::string& section, const std::string& entry) {
        const Line* const line = find(section, entry);
        if (!line) return false;
        Lines& lines = sections.at(section).lines;
        lines.erase(lines.begin() + (line - lines.data()));
        return true;
    }

    bool rename(const std::string& from, const std::string& to) {
        if (sections.contains(to) || !sections.contains(from)) return false;
        sections[to] = {"[" + to + "]", std::move(sections.at(from).lines)};
        sections.erase(from);
        return true;
    }

    std::string content() const {
        std::string text = top;
        for (const auto& [name, body] : sections) {
            text += body.header + "\n";
            for (const Line& line : body.lines) text += line.before + line.value + "\n";
        }
        return text;
    }

    struct Body {
        std::string header;
        Lines lines;
    };

    std::string top = "#top\n \n";
    std::map<std::string, Body> sections = {
        {"a", {"[a] first", {{"", "; comment", ""}, {"k", "  k \t=", " 1"}, {"", "\t", ""}, {"key", "key=", ""}}}},
        {"B", {"[B]", {}}},
    };
};

enum class Action {
    setString,
    setLong,
    setLongLong,
    setDouble,
    addSection,
    deleteSection,
    deleteEntry,
    renameSection,
    saveAndReload,
    copy,
    last
};

struct Step {
    Action action;
    std::string section;
    std::string other;
    std::string entry;
    std::string text;
    std::int64_t number;
    double real;
};

void showValue(const Step& step, std::ostream& out) {
    out << static_cast<int>(step.action) << " [" << step.section << "] [" << step.other << "] " << step.entry << "='"
        << step.text << "' " << step.number << " " << step.real << "\n";
}

rc::Gen<Step> anyStep() {
    const auto value = rc::gen::container<std::string>(
        rc::gen::suchThat(rc::gen::arbitrary<char>(), [](char c) { return c != '\0' && c != '\r' && c != '\n'; }));
    return rc::gen::build<Step>(
        rc::gen::set(&Step::action, rc::gen::cast<Action>(rc::gen::inRange(0, static_cast<int>(Action::last)))),
        rc::gen::set(&Step::section, rc::gen::elementOf(kSections)),
        rc::gen::set(&Step::other, rc::gen::elementOf(kSections)),
        rc::gen::set(&Step::entry, rc::gen::elementOf(kEntries)), rc::gen::set(&Step::text, value),
        rc::gen::set(&Step::number, rc::gen::arbitrary<std::int64_t>()),
        rc::gen::set(&Step::real, rc::gen::arbitrary<double>()));
}

std::string asText(double value) {
    char text[64];
    std::snprintf(text, sizeof text, "%.17g", value);
    return text;
}

// Applies the step to both; the data must answer as the model does.
void run(const Step& step, Model& model, MIniData& data) {
    const char* const section = step.section.c_str();
    const char* const entry = step.entry.c_str();
    bool changed = false;
    bool answered = false;
    switch (step.action) {
        case Action::setString:
            changed = model.set(step.section, step.entry, step.text);
            answered = data.SetStringEntry(section, entry, step.text.c_str());
            break;
        case Action::setLong:
            changed = model.set(step.section, step.entry, std::to_string(static_cast<std::int32_t>(step.number)));
            answered = data.SetLongEntry(section, entry, static_cast<std::int32_t>(step.number));
            break;
        case Action::setLongLong:
            changed = model.set(step.section, step.entry, std::to_string(step.number));
            answered = data.SetLongLongEntry(section, entry, step.number);
            break;
        case Action::setDouble:
            changed = model.set(step.section, step.entry, asText(step.real));
            answered = data.SetDoubleEntry(section, entry, step.real);
            break;
        case Action::addSection:
            changed = model.add(step.section);
            answered = data.AddSection(section);
            break;
        case Action::deleteSection:
            changed = model.sections.erase(step.section) > 0;
            answered = data.DeleteSection(section);
            break;
        case Action::deleteEntry:
            changed = model.erase(step.section, step.entry);
            answered = data.DeleteEntry(section, entry);
            break;
        case Action::renameSection:
            changed = model.rename(step.section, step.other);
            answered = data.RenameSection(section, step.other.c_str());
            break;
        case Action::saveAndReload:
            RC_ASSERT(data.Save());
            RC_ASSERT(data.Unchanged());
            RC_ASSERT(data.Reload());
            RC_ASSERT(data.Unchanged());
            return;
        case Action::copy:
            data = MIniData(data);
            return;
        case Action::last:
            RC_FAIL("no such action");
    }
    RC_ASSERT(answered == changed);
    if (changed) RC_ASSERT(!data.Unchanged());
}

void expectEqual(Model& model, const MIniData& data) {
    RC_ASSERT(data.GetContentString() == model.content());
    RC_ASSERT(data.GetSectionCount() == model.sections.size());
    for (const std::string& section : kSections) {
        RC_ASSERT(data.SectionExists(section.c_str()) == model.sections.contains(section));
        std::size_t count = 0;
        for (const std::string& entry : kEntries) {
            const Line* const line = model.find(section, entry);
            std::string value;
            RC_ASSERT(data.GetStringEntry(section.c_str(), entry.c_str(), value) == (line != nullptr));
            if (!line) continue;
            RC_ASSERT(value == line->value);
            ++count;
        }
        RC_ASSERT(data.GetEntryNames(section.c_str()).size() == count);
    }
}

RC_GTEST_PROP(MIniDataProperty, AnySequenceOfChangesAgreesWithTheModel, ()) {
    const test::LogRecorder recorder;
    const test::TemporaryFolder folder;
    Model model;
    MIniData data(folder.file("a.ini", model.content()).c_str());
    RC_ASSERT(data.IsOpen());
    for (const Step& step : *rc::gen::container<std::vector<Step>>(anyStep())) {
        run(step, model, data);
        expectEqual(model, data);
    }
}

RC_GTEST_PROP(MIniDataProperty, AnyDoubleComesBack, (double value)) {
    MIniData data;
    double read = 0;
    RC_ASSERT(data.SetDoubleEntry("s", "k", value));
    RC_ASSERT(data.GetDoubleEntry("s", "k", read));
    RC_ASSERT(read == value);
}

// Expected result of reading with kReplaceEntries: the earlier line of a name is removed, searched from the top.
struct RepeatedLines {
    bool read(const std::string& line) {
        const bool comment = line.starts_with('#');
        const std::size_t equals = line.find('=');
        const std::string name = line.substr(0, equals);
        const auto isNameless = [](const std::string& other) {
            return !other.starts_with('#') && (other.starts_with('=') || other.find('=') == std::string::npos);
        };
        if (!comment && !names.insert(name).second) {
            const auto found = std::find_if(lines.begin(), lines.end(), [&](const std::string& other) {
                return isNameless(other) || other.starts_with(name + "=");
            });
            if (found == lines.end() || isNameless(*found)) return false;
            lines.erase(found);
        }
        lines.push_back(line);
        return true;
    }

    std::vector<std::string> lines;
    std::set<std::string> names;
};

RC_GTEST_PROP(MIniDataProperty, ARepeatedEntryReplacesTheEarlierOneWhateverStandsBetween, ()) {
    const test::LogRecorder recorder;
    const std::vector<std::string> kinds = {"a=1", "a=2", "b=1", "c=1", "d=3", "e=4", "#c", "#a=1"};
    const std::vector<std::string> rare = {"a", "word", "=", "=1"};
    const auto usual = rc::gen::elementOf(kinds);
    const auto lines = *rc::gen::container<std::vector<std::string>>(
        rc::gen::weightedOneOf<std::string>({{30, usual}, {1, rc::gen::elementOf(rare)}}));
    RepeatedLines model;
    std::string text = "[s]\n";
    bool accepted = true;
    for (const std::string& line : lines) {
        text += line + "\n";
        accepted = accepted && model.read(line);
    }
    MIniData data(MIniData::kReplaceEntries | MIniData::kAcceptBareLines);
    RC_ASSERT(data.SetContentString(text) == accepted);
    std::string expected = "[s]\n";
    for (const std::string& line : model.lines) expected += line + "\n";
    RC_ASSERT(data.GetContentString() == expected);
}

// For any text: the part that was read reads the same again.
RC_GTEST_PROP(MIniDataProperty, AnyContentThatIsReadComesBack, ()) {
    const test::LogRecorder recorder;
    const auto character =
        rc::gen::oneOf(rc::gen::elementOf(std::string("[]=#; \t\r\nab")), rc::gen::arbitrary<char>());
    const std::string text = *rc::gen::container<std::string>(character);
    MIniData data(*rc::gen::inRange<std::uint32_t>(0, 64));
    data.SetContentString("[s]\n" + text);  // lines before a refused one stay
    const std::string content = data.GetContentString();
    RC_ASSERT(data.SetContentString(content));
    RC_ASSERT(data.GetContentString() == content);
}

}  // namespace
