// Ini data in memory. TWO WAYS TO LOSE A FILE: Save writes what is held, also behind an Open that refused a line and so
// read no further; ask HoldsWholeFile first. And a save that replaces the file (kReplaceOnSave) replaces it also when
// writing failed, on a full disk by its beginning: fastfile.h;
// kept on purpose: docs/oddities.md, rename-after-failure
//
// Ini data are sections, their entries and every other line, so that a file can be read with typed getters and comes
// back with its comments and the order of lines inside each section.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <unordered_set>
#include <utility>
#include <vector>

#include "platform.h"

class MFastFileReader;

/// Orders names by plain bytes: like memcmp over the shorter length, then the shorter one first. No locale.
struct MIniDataCaseSensitiveCompare {
    using is_transparent = void;
    bool operator()(std::string_view left, std::string_view right) const {
        const int order = std::memcmp(left.data(), right.data(), std::min(left.size(), right.size()));
        return order != 0 ? order < 0 : left.size() < right.size();
    }
};

/// A line, kept verbatim without its line end: a blank line or a comment when it is of this class itself.
class MIniDataLine {
public:
    explicit MIniDataLine(std::string lineText) : text(std::move(lineText)) {}
    virtual ~MIniDataLine() = default;
    MIniDataLine(const MIniDataLine&) = delete;
    MIniDataLine& operator=(const MIniDataLine&) = delete;

    std::string text;
};

/// A line with a name and a value. The value reaches to the end of the line, verbatim.
class MIniDataEntry : public MIniDataLine {
public:
    MIniDataEntry(std::string lineText, std::size_t position)
        : MIniDataLine(std::move(lineText)), valuePosition(position) {}

    const char* value() const { return text.c_str() + valuePosition; }

    std::size_t valuePosition;  // index in text, behind the '=' that ends the name; 0 for a line without '='
};

using MIniDataLines = std::vector<std::unique_ptr<MIniDataLine>>;

/// A section: its header line and what stands below it. Getters and setters find an entry by its name without trailing
/// blanks and tabs, and behave as those of MIniDataT.
template <typename Compare>
class MIniDataSectionT;
template <>
class MIniDataSectionT<MIniDataCaseSensitiveCompare> : public MIniDataLine {
public:
    using EntryMap = std::map<std::string, MIniDataEntry*, MIniDataCaseSensitiveCompare>;

    explicit MIniDataSectionT(std::string headerText);

    /// The entry of that name, trailing blanks and tabs of it removed; null when there is none.
    const MIniDataEntry* find_entry(std::string_view name) const;

    bool GetStringEntry(std::string_view name, std::string& value) const;
    bool GetLongEntry(std::string_view name, std::int32_t& value) const;
    bool GetLongLongEntry(std::string_view name, std::int64_t& value) const;
    bool GetDoubleEntry(std::string_view name, double& value) const;

    bool SetStringEntry(std::string_view name, std::string_view value);
    bool SetLongEntry(std::string_view name, std::int32_t value);
    bool SetLongLongEntry(std::string_view name, std::int64_t value);
    bool SetDoubleEntry(std::string_view name, double value);

    /// Appends an entry that is not there yet as the last line. @return false without memory for it.
    bool add_new_entry(std::string_view name, std::string_view value);

    /// Takes over the line of an entry that is not there yet; where its name belongs is known. Whatever a container
    /// throws without memory leaves the section as it was.
    void append(EntryMap::const_iterator place, std::string_view name, std::unique_ptr<MIniDataEntry> entry);

    /// Removes an entry and its line. The entry is found as everywhere; the line is looked for from the top by the name
    /// as it is given, trailing blanks included; kept on purpose: docs/oddities.md, delete-by-exact-name.
    /// A line without a name before '=' that stands above it ends the search. When no line is found, the entry is
    /// forgotten and its line stays: false after an entry in the error trace.
    bool DeleteEntry(std::string_view name);

    EntryMap entry_map;  // refers to lines below

    // The lines below the header, in file order. The header is this object itself, which the map of sections owns: the
    // list cannot own it a second time.
    MIniDataLines line_vec;

private:
    bool setEntry(std::string_view name, std::string_view value);
    bool setNumber(std::string_view name, std::string_view digits);
};

/// Ini data whose names are compared by Compare. There is this one instance, written out, so that its operations are
/// ordinary functions with sources of their own. Used by one thread at a time. Each operation answers false when it
/// fails, after an entry in the error trace; nothing is thrown but what standard containers throw without memory.
///
/// A line is blank, a section header ('[' as its very first character, the name up to the first ']'), a comment (first
/// visible character '#', '*', '/' or ';') or an entry (name '=' value). Values have no quotes, escapes or comments.
template <typename Compare>
class MIniDataT;
template <>
class MIniDataT<MIniDataCaseSensitiveCompare> {
public:
    using Section = MIniDataSectionT<MIniDataCaseSensitiveCompare>;

    // Options, to be combined. The second has the effect of the first as well;
    // kept on purpose: docs/oddities.md, replace-accepts-bare.
    // The name of a line without '=' is all of it behind leading blanks: "word" and "word " are two entries. A getter,
    // which trims what it is asked for, does not find the second; EntryExists and GetEntryNames do;
    // kept on purpose: docs/oddities.md, bare-line-name
    static constexpr std::uint32_t kAcceptBareLines = 0x01;  // a line without '=' or without a name is an entry, too
    static constexpr std::uint32_t kReplaceSections = 0x02;  // a repeated section replaces the earlier one
    static constexpr std::uint32_t kFlushOnSave = 0x08;      // Save returns when the disk has the bytes
    static constexpr std::uint32_t kReplaceOnSave = 0x10;    // Save replaces the file as a whole (kSafeReplace)
    static constexpr std::uint32_t kReplaceEntries = 0x20;   // a repeated entry of a section replaces the earlier one

    static constexpr std::uint64_t kGreatestFile = std::uint64_t{64} << 20;  // bytes of a file that Open reads: 64 MB

    /// Without content and not open.
    MIniDataT() = default;

    /// The same with options, a number of any type: so that a plain 0 is one, too, and no file name.
    template <typename Options>
    requires std::is_convertible_v<Options, std::uint32_t>
    explicit MIniDataT(Options options) : _options(static_cast<std::uint32_t>(options)) {}

    /// Opens the file, without options. When that fails the object exists and is not open.
    explicit MIniDataT(const char* fileName);

    MIniDataT(const MIniDataT& other);
    MIniDataT& operator=(const MIniDataT& other);
    ~MIniDataT();

    /// Reads a file in place of the present content. A file that does not exist is a new, empty one: true, and
    /// FileAbsent. UTF-8 may begin with its mark; UTF-16 and UTF-32 are refused. Empty lines are dropped, lines of
    /// blanks stay; kept on purpose: docs/oddities.md, empty-lines-dropped. When it
    /// fails, the lines before the failure stay readable until the next Close. A pipe or a device is refused without
    /// being read, and so is a file of more than kGreatestFile bytes, at the latest when so many were read.
    bool Open(const char* fileName);

    /// Frees the content and forgets the file name. Always true.
    bool Close();

    /// Opens the file again. False when nothing is open.
    bool Reload();

    /// Writes the content string into the file that was opened, with CR LF as line ends, whether it existed or not;
    /// also behind an Open that failed, whose lines before the failure then replace the whole file: ask HoldsWholeFile
    /// first; kept on purpose: docs/oddities.md, save-what-was-read
    bool Save();

    /// Whether what Save would write is all that the last Open saw in the file, but for what was set, added, renamed
    /// and removed since. True also for a file that did not exist. Empty lines, ends of lines, the order of sections
    /// and the mark of UTF-8 do not count. False
    ///   - before the first Open and after Close;
    ///   - behind an Open that failed: lines from the refused one on are missing;
    ///   - behind an Open that took a file for absent, though it could only not be looked at (memory ran out, a folder
    ///     may not be searched);
    ///   - when an option had a later line or section replace an earlier one;
    ///   - when a line that begins with a byte 0 was dropped;
    ///   - after SetContentString: another text took the file's place.
    bool HoldsWholeFile() const { return _holdsWholeFile; }

    bool IsOpen() const { return _open; }

    /// Whether the file did not exist when it was opened, until it is saved; also true before the first Open.
    bool FileAbsent() const { return _fileAbsent; }

    /// Whether the content is that of the file: after Open and Save, until something changes it.
    bool Unchanged() const { return _unchanged; }

    /// Text of the last line or entry that was refused, at most 1023 characters.
    const std::string& GetLastErrorText() const { return _lastError; }

    /// All lines, each ended by LF: those above the first section, then the sections in ascending order of their names,
    /// not in the file's order; kept on purpose: docs/oddities.md, sections-sorted
    std::string GetContentString() const;

    /// Reads a text in place of the present content; LF, CR and CR LF end a line. File name and options stay, and
    /// unlike in Open empty lines are kept.
    bool SetContentString(const std::string& text);

    // Getters. The section's name must match exactly; trailing blanks and tabs of the entry's name do not count.
    // A missing section or entry: false, output untouched.

    /// The value as it stands in the line, leading blanks included.
    bool GetStringEntry(const char* section, const char* entry, std::string& value) const;

    /// The number that the value begins with, decimal, limited to the type's range; text behind it does not matter.
    /// A value that begins with no number: false, and 0 as output.
    bool GetLongEntry(const char* section, const char* entry, std::int32_t& value) const;
    bool GetLongLongEntry(const char* section, const char* entry, std::int64_t& value) const;
    bool GetDoubleEntry(const char* section, const char* entry, double& value) const;

    // Setters. They take the place of an entry's value, and leave its name, the blanks behind it and the '=' as they
    // are. A missing entry becomes the section's last line, a missing section is added. A name that begins as a comment
    // does is refused, with nothing added. Other names and texts are taken as they are. With '=', a leading blank or
    // a line end in them they read differently from the file; kept on purpose: docs/oddities.md, names-as-given

    bool SetStringEntry(const char* section, const char* entry, const char* text);
    bool SetLongEntry(const char* section, const char* entry, std::int32_t value);
    bool SetLongLongEntry(const char* section, const char* entry, std::int64_t value);

    /// With 17 significant digits, zeros at the end left out, so that a getter gives the same number. The decimal point
    /// is that of the C locale in force (LC_NUMERIC), here and in GetDoubleEntry: a program that sets one with a comma
    /// writes commas, and reads "0.5" as 0.
    bool SetDoubleEntry(const char* section, const char* entry, double value);

    /// Adds a section without lines. False when it exists.
    bool AddSection(const char* section);

    /// Removes a section with all its lines.
    bool DeleteSection(const char* section);

    /// Removes an entry with its line. See MIniDataSectionT::DeleteEntry.
    bool DeleteEntry(const char* section, const char* entry);

    /// Gives a section another name, with a plain header; text behind the old header's name is lost. False when there
    /// is no such section or one of the new name, be it the same.
    bool RenameSection(const char* oldName, const char* newName);

    bool SectionExists(const char* section) const;

    /// Whether exactly this name would stand in GetEntryNames: trailing blanks count, unlike in the getters;
    /// kept on purpose: docs/oddities.md, exact-entry-exists
    bool EntryExists(const char* section, const char* entry) const;

    std::size_t GetSectionCount() const { return _sections.size(); }

    // Names in ascending order, not in the file's; none for a missing section.
    std::vector<std::string> GetSectionNames() const;
    std::vector<std::string> GetEntryNames(const char* section) const;

private:
    /// Ends a parsing, however it ends: what was replaced is gone then.
    class ReplacedLinesGone {
    public:
        explicit ReplacedLinesGone(MIniDataT& data) : _data(data) {}
        ~ReplacedLinesGone() {
            _data.dropReplacedLines();
            _data._fixedLines.clear();
        }
        ReplacedLinesGone(const ReplacedLinesGone&) = delete;
        ReplacedLinesGone& operator=(const ReplacedLinesGone&) = delete;

    private:
        MIniDataT& _data;
    };

    void freeContent();
    bool looksReadable();
    bool refuseFile(int codeLine, const char* reason);
    bool readLines(MFastFileReader& reader);
    bool takeMark(std::string& firstLine);

    bool parse_line(std::string_view line);
    bool parseHeader(std::string_view line);
    bool parseEntry(std::string_view line, std::size_t nameBegin);
    bool replaceEntry(Section::EntryMap::iterator earlier, std::string_view name);
    void dropReplacedLines();
    bool refuse(int codeLine, const char* format, ...) PLATFORM_FORMAT(3, 4);

    Section* find_section(std::string_view name) const;
    Section* add_new_section(std::string_view name);
    template <typename Set>
    bool setEntry(std::string_view section, const char* failure, Set set);
    bool refuseComment(int codeLine, const char* format, ...) PLATFORM_FORMAT(3, 4);

    bool _open = false;
    bool _fileAbsent = true;
    bool _unchanged = false;
    bool _holdsWholeFile = false;
    bool _lineDropped = false;  // while parsing: a line with content was left out or replaced
    std::string _fileName;
    std::uint32_t _options = 0;
    MIniDataLines _topLines;  // above the first section: blank lines and comments
    std::map<std::string, std::unique_ptr<Section>, MIniDataCaseSensitiveCompare> _sections;
    Section* _currentSection = nullptr;  // while parsing: the one that the last header opened
    // While parsing with kReplaceEntries, of the current section: lines that later ones replaced and that still have to
    // go, all at once; and entries that cannot be replaced, because a line without a name stands above them or is they.
    std::unordered_set<const MIniDataLine*> _replacedLines;
    std::unordered_set<const MIniDataLine*> _fixedLines;
    std::string _lastError;
};
