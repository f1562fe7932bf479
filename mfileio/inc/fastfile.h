// Files. A SAFE REPLACEMENT CAN LOSE THE OLD CONTENT: no reader sees half a file while all goes well, but the rename
// happens even if writing failed. On a full disk the beginning of the new content, or nothing, then replaces the old
// content. If you cannot afford that, write another file, check the result and call file_rename.
//
// A buffered reader, a buffered writer, and functions that read and write whole files, with conversion of line ends and
// safe replacement. All failures are reported in the error trace and by a result; nothing is thrown.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "platform.h"

/// The common part of buffered readers and writers. Used by one thread at a time.
class MFastFile {
public:
    static constexpr std::size_t kBufferSize = 8192;

    // Modes of writing. Every other number is refused: "openwritefile(): unknown mode %d for %s".
    static constexpr int kCreateNew = 0;     // fails if the file exists
    static constexpr int kAppend = 1;        // at the end of the file; creates a missing file
    static constexpr int kTruncate = 2;      // empties the file; creates a missing one
    static constexpr int kSafeReplace = 10;  // only for whole-file writes, see MFastFile_WriteAtOnce and the top
    static constexpr int kFlush = 4;         // added to one of these: see MFastFileWriter::Open, MFastFile_WriteAtOnce

    MFastFile(const MFastFile&) = delete;
    MFastFile& operator=(const MFastFile&) = delete;

protected:
    static constexpr std::int32_t kClosed = -1;
    static constexpr std::int32_t kOpen = 0;

    MFastFile() = default;
    ~MFastFile() = default;

    /// Stores the name. False when there is no memory for it; the last error is then 8.
    bool keepName(const char* fileName);

    char _buffer[kBufferSize];
    char* _end = _buffer;      // after the valid data
    char* _current = _buffer;  // next byte to read or store
    HANDLE _file = INVALID_HANDLE_VALUE;
    std::int32_t _openState = kClosed;
    std::string _fileName;
};

/// Reads a file from its start to its end. Operations on a closed reader fail.
class MFastFileReader : public MFastFile {
protected:
    /// Reads the next bytes of the file into the used-up buffer. At the end of the file the buffer stays unchanged, so
    /// that current >= end marks the end. Declared before the destructor: the order of the virtual operations must not
    /// change.
    virtual bool fill_buffer();

public:
    MFastFileReader() = default;

    /// Opens the file; if that fails, the object stays closed.
    explicit MFastFileReader(const char* fileName);

    virtual ~MFastFileReader();

    /// Opens an existing file; closes an open one first. Writers may have the file open, too.
    bool Open(const char* fileName);

    /// Closes the file. True also for a closed reader.
    bool Close();

    bool IsOpen() const { return _openState == kOpen; }

    /// True when no bytes are left, and for a closed reader. False when reading fails, so that the next read operation
    /// reports the failure.
    bool IsEOF() { return usedUp() && atEnd(); }

    /// Reads bytes. If kBufferSize bytes or more are still missing, they are read straight into the target; fewer are
    /// taken from one refill of the buffer.
    ///
    /// @return  Bytes read, fewer than count near the end of the file and 0 at its end; -1 when reading fails.
    std::ptrdiff_t Read(void* target, std::size_t count);

    /// Reads up to the next line end (CR LF, LF or a single CR), which is consumed and not stored.
    ///
    /// @param line  Receives the text; empty at the end of the file, where the result is true as well (see IsEOF).
    /// @return      False when reading fails, and when there is no memory for the line, which may then be partly lost.
    bool ReadLine(std::string& line);

    /// Reads a line into a character buffer. A longer line is cut and consumed as a whole.
    ///
    /// @param line  Receives at most maximum characters, and a terminating zero if there were fewer.
    /// @return      Characters stored; -1 when reading fails.
    std::ptrdiff_t ReadLine(char* line, std::size_t maximum);

    /// Reads up to the next byte 0, which is consumed and not stored, or to the end of the file. Fails like ReadLine.
    bool ReadString(std::string& text);

    /// Reads one byte. False, with the output untouched, at the end of the file or when reading fails (see IsEOF).
    bool ReadChar(char& character);

    /// Same as ReadChar, but reads CR LF as one LF. A single CR stays a CR.
    bool ReadCharNL(char& character);

    /// Steps back one byte, so that it is read again. Possible as far as the buffer reaches back.
    bool UnReadChar();

    // Binary values of 4, 2, 4, 4 and 8 bytes, little-endian. False, with the output untouched, when the file ends
    // before or inside the value, or reading fails.
    bool ReadInt(std::int32_t& value);
    bool ReadShort(std::int16_t& value);
    bool ReadLong(std::int32_t& value);
    bool ReadFloat(float& value);
    bool ReadDouble(double& value);

private:
    enum class Scan { found, atEnd, failed };
    enum class LineScan { done, failed, failedBehindCr };

    bool usedUp() const { return _current >= _end; }
    bool atEnd();
    void forgetBuffer() { _current = _end = _buffer; }
    std::size_t takeBuffered(char* target, std::size_t limit);
    std::ptrdiff_t read_from_buffer(void* target, std::size_t count);
    std::ptrdiff_t read_char_from_buffer(char& character);
    template <typename Find, typename Store>
    Scan scan(Find find, Store store);
    template <typename Store>
    LineScan scanLine(Store store);
    static bool refuseLine(std::string& line);
    template <typename Value>
    bool readValue(Value& value);
};

/// Writes a file from its start, or from the end of its present content. While it is open, others may read the file,
/// but a second writer is refused. Bytes wait in the buffer until it is full, or until Flush or Close; bytes that could
/// not be written keep waiting, and the next of these calls tries again.
class MFastFileWriter : public MFastFile {
public:
    MFastFileWriter();

    /// Opens the file; if that fails, the object stays closed.
    MFastFileWriter(const char* fileName, int mode);

    virtual ~MFastFileWriter();

    /// Opens a file; closes an open one first.
    ///
    /// @param mode  kCreateNew, kAppend or kTruncate. With kFlush each write of the buffer goes through to the disk,
    ///              but bytes that wait in the buffer do not.
    bool Open(const char* fileName, int mode);

    /// Writes waiting bytes and closes the file. False when either fails; the writer is closed in any case. True also
    /// for a closed writer.
    bool Close();

    bool IsOpen() const { return _openState == kOpen; }

    /// Writes waiting bytes and makes the system write the file to the disk.
    bool Flush();

    /// Writes bytes.
    ///
    /// @return  count; -1 for a closed writer and when a full buffer cannot be written.
    std::ptrdiff_t Write(const void* source, std::size_t count);

    /// Writes one byte.
    bool WriteChar(char character);

    /// Same as WriteChar, but writes an LF as CR LF.
    bool WriteCharNL(char character);

    // Texts, without a terminator. Each call returns the number of bytes written, including line ends, or -1.

    /// Writes a text unchanged.
    std::ptrdiff_t WriteString(std::string_view text);

    /// Writes a text with CR LF for every LF. A CR is not changed, so CR LF becomes CR CR LF.
    std::ptrdiff_t WriteStringNL(std::string_view text);

    /// Writes a text unchanged, and CR LF. A text that contains an LF is refused as a whole.
    std::ptrdiff_t WriteLine(std::string_view line);

    /// WriteStringNL, then CR LF.
    std::ptrdiff_t WriteLineNL(std::string_view text);

    // Binary values of 4, 2, 4, 4 and 8 bytes, little-endian.
    bool WriteInt(std::int32_t value);
    bool WriteShort(std::int16_t value);
    bool WriteLong(std::int32_t value);
    bool WriteFloat(float value);
    bool WriteDouble(double value);

private:
    std::ptrdiff_t write_to_buffer(const void* source, std::size_t count);
    bool write_to_disk();
};

// -------------------------------------------------------------------------------------------------------- whole files
// Results are byte counts, or -1 on failure.

/// Reads the first bytes of a file with one read.
///
/// @param buffer  Receives up to size bytes, fewer if the file is shorter.
std::ptrdiff_t MFastFile_ReadAtOnce(const char* fileName, void* buffer, std::size_t size);

/// Reads a whole file.
///
/// @param content  Receives the bytes; empty on failure.
std::ptrdiff_t MFastFile_ReadAtOnce(const char* fileName, std::string& content);

/// Same as MFastFile_ReadAtOnce, but turns every CR LF and every single CR into one LF. The form with a buffer reads
/// the first size bytes of the file; the buffer's content after the result is undefined.
///
/// @return  Length of the converted text.
std::ptrdiff_t MFastFile_ReadLinesAtOnce(const char* fileName, char* buffer, std::size_t size);
std::ptrdiff_t MFastFile_ReadLinesAtOnce(const char* fileName, std::string& text);

/// Writes a whole file with one write.
///
/// @param mode  kCreateNew, kAppend or kTruncate; or kSafeReplace, which writes a temporary file ("ffw….tmp") in the
///              same folder, brings it to the disk and renames it to the name. A reader then finds the old content or
///              the new one; when writing fails, the part of the new one that was written. With kFlush the bytes are on
///              the disk before the call returns, in every mode.
/// @return      size; -1 when any step failed. A safe replacement then renames all the same, unless it could not create
///              a temporary file; a temporary file that could not be renamed is removed.
///
/// A safe replacement brings the content to the disk, but not the folder: after a power failure the name may still
/// refer to the old content. The name of its folder has at most 246 characters. On Windows it fails while anybody has
/// the file open; on Linux whoever has it open keeps the old content. A read-only file (on Linux: one that its owner
/// may not write) is not replaced: -1, and it stays unchanged. On Linux the new file gets the permissions of the old
/// one. A symbolic link is replaced itself, not its target; kept on purpose: docs/oddities.md, link-replaced.
/// If somebody puts another file in place of the temporary file, that file is not written. It is renamed only if it
/// appears between the last check and the rename.
std::ptrdiff_t MFastFile_WriteAtOnce(const char* fileName, const void* data, std::size_t size, int mode);

/// Same as MFastFile_WriteAtOnce for a text, with CR LF for every LF and every single CR; CR LF stays.
///
/// @return  Bytes written, counted after the conversion.
std::ptrdiff_t MFastFile_WriteLinesAtOnce(const char* fileName, const char* text, std::size_t size, int mode);

/// Copies a file's content through memory.
///
/// @param mode  As for MFastFile_WriteAtOnce, for the target.
std::ptrdiff_t MFastFile_CopyFile(const char* from, const char* to, int mode);
