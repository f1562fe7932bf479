// Buffered sequential access to files. All failures are reported in the error trace and by a result.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "platform.h"

/// What buffered readers and writers have in common. Used by one thread at a time.
class MFastFile {
public:
    static constexpr std::size_t kBufferSize = 8192;

    MFastFile(const MFastFile&) = delete;
    MFastFile& operator=(const MFastFile&) = delete;

protected:
    static constexpr std::int32_t kClosed = -1;
    static constexpr std::int32_t kOpen = 0;

    MFastFile() = default;
    ~MFastFile() = default;

    char _buffer[kBufferSize];
    char* _end = _buffer;      // behind the valid data
    char* _current = _buffer;  // next byte to be taken or stored
    HANDLE _file = INVALID_HANDLE_VALUE;
    std::int32_t _openState = kClosed;
    std::string _fileName;
};

/// Reads a file from its start to its end. Operations on a closed reader fail.
class MFastFileReader : public MFastFile {
protected:
    /// Reads the next bytes of the file into the used-up buffer; at the end of the file the buffer stays as it is, so
    /// that current >= end marks the end. Declared before the destructor: the order of the virtual operations is kept.
    virtual bool fill_buffer();

public:
    MFastFileReader() = default;

    /// Opens the file; when that fails the object stays closed.
    explicit MFastFileReader(const char* fileName);

    virtual ~MFastFileReader();

    /// Opens an existing file, after closing one that is open. Writers may have the file open, too.
    bool Open(const char* fileName);

    /// Closes the file. True also for a closed reader.
    bool Close();

    bool IsOpen() const { return _openState == kOpen; }

    /// True when nothing more comes, and for a closed reader. False when reading fails, so that the next read operation
    /// reports it.
    bool IsEOF();

    /// Reads bytes. What is not yet buffered is read straight into the target if it is kBufferSize or more; a smaller
    /// rest takes what one refill of the buffer gives.
    ///
    /// @return  Bytes read, fewer than count near the end of the file and 0 there; -1 when reading fails.
    std::ptrdiff_t Read(void* target, std::size_t count);

    /// Reads up to the next line end, CR LF, LF or a CR alone, which is consumed and not stored.
    ///
    /// @param line  Receives the text; empty at the end of the file, where the result is true as well (see IsEOF).
    bool ReadLine(std::string& line);

    /// Reads a line as above into a character buffer. A longer line is cut and consumed as a whole.
    ///
    /// @param line  Receives at most maximum characters, and a terminating zero if there were fewer.
    /// @return      Characters stored; -1 when reading fails.
    std::ptrdiff_t ReadLine(char* line, std::size_t maximum);

    /// Reads up to the next byte 0, which is consumed and not stored, or to the end of the file.
    bool ReadString(std::string& text);

    /// Reads one byte. False, with the output untouched, at the end of the file or when reading fails (see IsEOF).
    bool ReadChar(char& character);

    /// ReadChar that takes CR LF as one LF. A CR alone stays a CR.
    bool ReadCharNL(char& character);

    /// Steps back one byte, so that it is read again. Possible as far as the buffer reaches back.
    bool UnReadChar();

    // Binary values of 4, 2, 4, 4 and 8 bytes, little-endian. False, with the output untouched, when the file ends
    // before or within the value or reading fails.
    bool ReadInt(std::int32_t& value);
    bool ReadShort(std::int16_t& value);
    bool ReadLong(std::int32_t& value);
    bool ReadFloat(float& value);
    bool ReadDouble(double& value);

private:
    enum class Scan { found, atEnd, failed };
    enum class LineScan { done, failed, failedBehindCr };

    bool usedUp() const { return _current >= _end; }
    void forgetBuffer() { _current = _end = _buffer; }
    std::size_t takeBuffered(char* target, std::size_t limit);
    std::ptrdiff_t read_from_buffer(void* target, std::size_t count);
    std::ptrdiff_t read_char_from_buffer(char& character);
    template <typename Find, typename Store>
    Scan scan(Find find, Store store);
    template <typename Store>
    LineScan scanLine(Store store);
    template <typename Value>
    bool readValue(Value& value);
};
