// Ini data in memory. TWO WAYS TO LOSE DATA: Save writes what is in memory, even if Open stopped reading at a line that
// it refused; check HoldsWholeFile first. A save that replaces the file (kReplaceOnSave) replaces it even if writing
// failed, for example on a full disk, then only with the beginning of the content: fastfile.h;
// kept on purpose: docs/oddities.md, rename-after-failure
//
// Ini data consist of sections, their entries and all other lines. So a file can be read with typed getters and written
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

/// Orders names by plain bytes: like memcmp over the shorter length, then shorter before longer. No locale.
struct MIniDataCaseSensitiveCompare {
    using is_transparent = void;
    bool operator()(std::string_view left, std::string_view right) const {
        const int order = std::memcmp(left.data(), right.data(), std::min(left.size(), right.size()));
        return order != 0 ? order < 0 : left.size() < right.size();
    }
};

/// A line, kept verbatim without its line end. An object of exactly this class is a blank line or a comment.
class MIniDataLine {
public:
    explicit MIniDataLine(std::string lineText) : text(std::move(lineText)) {}
    virtual ~MIniDataLine() = default;
    MIniDataLine(const MIniDataLine&) = delete;
    MIniDataLine& operator=(const MIniDataLine&) = delete;

    std::string text;
};

/// A line with a name and a value. The value extends to the end of the line, verbatim.
class MIniDataEntry : public MIniDataLine {
public:
    MIniDataEntry(std::string lineText, std::size_t position)
        : MIniDataLine(std::move(lineText)), valuePosition(position) {}

    const char* value() const { return text.c_str() + valuePosition; }

    std::size_t valuePosition;  // index in text, after the '=' that ends the name; 0 for a line without '='
};

using MIniDataLines = std::vector<std::unique_ptr<MIniDataLine>>;

/// A section: its header line and the lines below it. Getters and setters find an entry by its name without trailing
/// blanks and tabs, and behave like those of MIniDataT.
template <typename Compare>
class MIniDataSectionT;
template <>
class MIniDataSectionT<MIniDataCaseSensitiveCompare> : public MIniDataLine {
public:
    using EntryMap = std::map<std::string, MIniDataEntry*, MIniDataCaseSensitiveCompare>;

    explicit MIniDataSectionT(std::string headerText);

    /// The entry of that name; trailing blanks and tabs of the name do not count. Null when there is none.
    const MIniDataEntry* find_entry(std::string_view name) const;

    bool GetStringEntry(std::string_view name, std::string& value) const;
    bool GetLongEntry(std::string_view name, std::int32_t& value) const;
    bool GetLongLongEntry(std::string_view name, std::int64_t& value) const;
    bool GetDoubleEntry(std::string_view name, double& value) const;

    bool SetStringEntry(std::string_view name, std::string_view value);
    bool SetLongEntry(std::string_view name, std::int32_t value);
    bool SetLongLongEntry(std::string_view name, std::int64_t value);
    bool SetDoubleEntry(std::string_view name, double value);

    /// Appends a new entry as the last line. @return false when there is no memory for it.
    bool add_new_entry(std::string_view name, std::string_view value);

    /// Takes over the line of a new entry whose position in the map is known. If a container throws because there is no
    /// memory, the section stays unchanged.
    void append(EntryMap::const_iterator place, std::string_view name, std::unique_ptr<MIniDataEntry> entry);

    /// Removes an entry and its line. The entry is found like everywhere else; its line is searched from the top by the
    /// exact name, including trailing blanks; kept on purpose: docs/oddities.md, delete-by-exact-name.
    /// A line above it without a name before '=' ends the search. If no line is found, the entry is removed but its
    /// line stays: false after an entry in the error trace.
    bool DeleteEntry(std::string_view name);

    EntryMap entry_map;  // refers to lines below

    // The lines below the header, in file order. The header is this object itself; the map of sections owns it, so the
    // list cannot own it as well.
    MIniDataLines line_vec;

private:
    bool setEntry(std::string_view name, std::string_view value);
    bool setNumber(std::string_view name, std::string_view digits);
};

/// Ini data whose names are compared by Compare. There is only this one explicit instance, so that its operations are
/// ordinary functions in their own source files. Used by one thread at a time. Each operation returns false when it
/// fails, after an entry in the error trace. Nothing is thrown except what standard containers throw without memory.
///
/// A line is blank, a section header (its very first character is '[', the name ends at the first ']'), a comment
/// (first visible character '#', '*', '/' or ';') or an entry (name '=' value). Values have no quotes, escapes or
/// comments.
template <typename Compare>
class MIniDataT;
template <>
class MIniDataT<MIniDataCaseSensitiveCompare> {
public:
    using Section = MIniDataSectionT<MIniDataCaseSensitiveCompare>;

    // Options, which can be combined. The second one has the effect of the first as well;
    // kept on purpose: docs/oddities.md, replace-accepts-bare.
    // The name of a line without '=' is the whole line without leading blanks: "word" and "word " are two entries. A
    // getter trims the requested name, so it does not find the second; EntryExists and GetEntryNames do;
    // kept on purpose: docs/oddities.md, bare-line-name
    static constexpr std::uint32_t kAcceptBareLines = 0x01;  // a line without '=' or without a name is also an entry
    static constexpr std::uint32_t kReplaceSections = 0x02;  // a repeated section replaces the earlier one
    static constexpr std::uint32_t kFlushOnSave = 0x08;      // Save returns when the bytes are on the disk
    static constexpr std::uint32_t kReplaceOnSave = 0x10;    // Save replaces the file as a whole (kSafeReplace)
    static constexpr std::uint32_t kReplaceEntries = 0x20;   // a repeated entry of a section replaces the earlier one

    static constexpr std::uint64_t kGreatestFile = std::uint64_t{64} << 20;  // largest file that Open reads: 64 MB

    /// Empty and not open.
    MIniDataT() = default;

    /// The same with options, a number of any type, so that a plain 0 means options and not a file name.
    template <typename Options>
    requires std::is_convertible_v<Options, std::uint32_t>
    explicit MIniDataT(Options options) : _options(static_cast<std::uint32_t>(options)) {}

    /// Opens the file, without options. If that fails, the object exists and is not open.
    explicit MIniDataT(const char* fileName);

    MIniDataT(const MIniDataT& other);
    MIniDataT& operator=(const MIniDataT& other);
    ~MIniDataT();

    /// Reads a file, replacing the present content. A missing file counts as new and empty: true, and FileAbsent. UTF-8
    /// may begin with a byte-order mark; UTF-16 and UTF-32 are refused. Empty lines are dropped, lines of blanks stay;
    /// kept on purpose: docs/oddities.md, empty-lines-dropped. If reading fails, the lines before the failure stay
    /// readable until the next Close. A pipe or a device is refused without reading it. A file of more than
    /// kGreatestFile bytes is refused, at the latest when that many bytes have been read.
    bool Open(const char* fileName);

    /// Frees the content and forgets the file name. Always true.
    bool Close();

    /// Reopens the file. False when nothing is open.
    bool Reload();

    /// Writes the content string into the opened file, with CR LF as line ends, whether it existed or not. After a
    /// failed Open, the lines before the failure replace the whole file: check HoldsWholeFile first;
    /// kept on purpose: docs/oddities.md, save-what-was-read
    bool Save();

    /// Whether Save would write everything that the last Open saw in the file, apart from later changes by setters and
    /// by adding, renaming and removing. True also for a file that did not exist. Empty lines, line ends, the order of
    /// sections and the UTF-8 mark do not count. False
    ///   - before the first Open and after Close;
    ///   - after an Open that failed: the refused line and all later ones are missing;
    ///   - after an Open that treated a file as absent because it could not examine it (no memory, a folder that may
    ///     not be searched);
    ///   - when an option let a later line or section replace an earlier one;
    ///   - when a line that begins with a byte 0 was dropped;
    ///   - after SetContentString: another text has replaced the content of the file.
    bool HoldsWholeFile() const { return _holdsWholeFile; }

    bool IsOpen() const { return _open; }

    /// Whether the file did not exist when it was opened and has not been saved since; also true before the first Open.
    bool FileAbsent() const { return _fileAbsent; }

    /// Whether the content equals that of the file: true after Open and Save, until something changes it.
    bool Unchanged() const { return _unchanged; }

    /// Text of the last line or entry that was refused, at most 1023 characters.
    const std::string& GetLastErrorText() const { return _lastError; }

    /// All lines, each ended by LF: those above the first section, then the sections in ascending order of their names,
    /// not in the file's order; kept on purpose: docs/oddities.md, sections-sorted
    std::string GetContentString() const;

    /// Reads a text, replacing the present content; LF, CR and CR LF end a line. File name and options stay. Unlike
    /// Open, it keeps empty lines.
    bool SetContentString(const std::string& text);

    // Getters. The section's name must match exactly; trailing blanks and tabs of the entry's name do not count.
    // A missing section or entry: false, output untouched.

    /// The value as written in the line, including leading blanks.
    bool GetStringEntry(const char* section, const char* entry, std::string& value) const;

    /// The decimal number at the start of the value, limited to the type's range; text after it is ignored. If the
    /// value does not begin with a number: false, and 0 as output.
    bool GetLongEntry(const char* section, const char* entry, std::int32_t& value) const;
    bool GetLongLongEntry(const char* section, const char* entry, std::int64_t& value) const;
    bool GetDoubleEntry(const char* section, const char* entry, double& value) const;

    // Setters. They replace an entry's value and leave its name, the blanks after it and the '=' unchanged. A missing
    // entry becomes the section's last line; a missing section is added. A name that begins like a comment is refused,
    // and nothing is added. Other names and texts are stored unchanged. If they contain '=', a leading blank or a line
    // end, the file reads back differently; kept on purpose: docs/oddities.md, names-as-given

    bool SetStringEntry(const char* section, const char* entry, const char* text);
    bool SetLongEntry(const char* section, const char* entry, std::int32_t value);
    bool SetLongLongEntry(const char* section, const char* entry, std::int64_t value);

    /// Writes 17 significant digits without trailing zeros, so that a getter returns the same number. Here and in
    /// GetDoubleEntry the decimal point is that of the current C locale (LC_NUMERIC): a program whose locale uses a
    /// comma writes commas, and reads "0.5" as 0.
    bool SetDoubleEntry(const char* section, const char* entry, double value);

    /// Adds an empty section. False when it exists.
    bool AddSection(const char* section);

    /// Removes a section with all its lines.
    bool DeleteSection(const char* section);

    /// Removes an entry with its line. See MIniDataSectionT::DeleteEntry.
    bool DeleteEntry(const char* section, const char* entry);

    /// Renames a section and gives it a plain header; text after the name in the old header is lost. False when there
    /// is no such section, or when one with the new name exists, even the same one.
    bool RenameSection(const char* oldName, const char* newName);

    bool SectionExists(const char* section) const;

    /// Whether GetEntryNames contains exactly this name: unlike in the getters, trailing blanks count;
    /// kept on purpose: docs/oddities.md, exact-entry-exists
    bool EntryExists(const char* section, const char* entry) const;

    std::size_t GetSectionCount() const { return _sections.size(); }

    // Names in ascending order, not in file order; none for a missing section.
    std::vector<std::string> GetSectionNames() const;
    std::vector<std::string> GetEntryNames(const char* section) const;

private:
    /// At the end of parsing, however it ends, removes the lines that were replaced.
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
    bool _lineDropped = false;  // while parsing: a line with content was dropped or replaced
    std::string _fileName;
    std::uint32_t _options = 0;
    MIniDataLines _topLines;  // above the first section: blank lines and comments
    std::map<std::string, std::unique_ptr<Section>, MIniDataCaseSensitiveCompare> _sections;
    Section* _currentSection = nullptr;  // while parsing: the section of the last header
    // While parsing with kReplaceEntries, for the current section: replaced lines, which are removed together at the
    // end; and entries that cannot be replaced, because a line without a name is above them or because they are such a
    // line.
    std::unordered_set<const MIniDataLine*> _replacedLines;
    std::unordered_set<const MIniDataLine*> _fixedLines;
    std::string _lastError;
};
