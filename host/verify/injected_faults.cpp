#include "injected_faults.h"

#include <cmath>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include <nlohmann/json.hpp>

#include "fault_log_words.h"

namespace host {

namespace words = frames::fault_log;

namespace {

using Json = nlohmann::json;

constexpr std::size_t kMaxName = 64;

// What is wrong with a line; caught where the line number is known.
class LineError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

const Json& member(const Json& object, const char* key) {
    const auto found = object.find(key);
    if (found == object.end()) throw LineError(std::string("\"") + key + "\" is missing");
    return *found;
}

std::uint64_t number(const Json& object, const char* key) {
    const Json& value = member(object, key);
    if (!value.is_number_unsigned()) throw LineError(std::string("\"") + key + "\" is not a number from 0 to 2^64 - 1");
    return value.get<std::uint64_t>();
}

std::string name(const Json& object, const char* key) {
    const Json& value = member(object, key);
    std::string text = value.is_string() ? value.get<std::string>() : "";
    const bool known = text.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-/") ==
                       std::string::npos;
    if (text.empty() || text.size() > kMaxName || !known) throw LineError(std::string("\"") + key + "\" is not a name");
    return text;
}

FrameRange range(const Json& object) {
    const FrameRange frames{number(object, "first"), number(object, "last")};
    if (frames.last < frames.first) throw LineError("\"last\" is smaller than \"first\"");
    return frames;
}

Expectation expectation(const Json& object) {
    if (!object.is_object()) throw LineError("\"expect\" has something else than objects");
    const std::string finding = name(object, "finding");
    const auto kind = findingByName(finding);
    if (!kind) throw LineError("there is no finding \"" + finding + "\"");
    Expectation result{*kind, {}, 0};
    result.frames = *kind == FindingKind::stopped ? FrameRange{number(object, "first"), UINT64_MAX} : range(object);
    if (*kind == FindingKind::late) {
        const Json& least = member(object, "min_us");
        result.minUs = least.is_number() ? least.get<double>() : -1;
        if (!(result.minUs >= 0 && std::isfinite(result.minUs)))
            throw LineError("\"min_us\" is not a time in microseconds");
    }
    return result;
}

InjectedFault faultOf(const Json& object) {
    InjectedFault fault;
    fault.name = name(object, "fault");
    fault.frame = number(object, "frame");
    const Json& expect = member(object, "expect");
    if (!expect.is_array()) throw LineError("\"expect\" is not a list");
    for (const Json& item : expect) fault.expect.push_back(expectation(item));
    return fault;
}

// Reads the lines one by one.
class Reader {
public:
    void takeLine(const std::string& text, std::uint64_t lineNumber) {
        const Json object = Json::parse(text, nullptr, false);
        if (!object.is_object()) throw LineError("is not a JSON object");
        const std::string event = name(object, "event");
        if (lineNumber == 1) return begin(object, event);
        if (log.nextFrame) throw LineError("stands behind the end of the run");
        if (event == words::kFault) {
            log.faults.push_back(faultOf(object));
            log.faults.back().line = lineNumber;
        } else if (event == words::kNote) {
            log.notes.push_back({name(object, "note"), range(object)});
        } else if (event == words::kEnd) {
            log.nextFrame = number(object, "next_frame");
        } else if (event == words::kRun) {
            throw LineError("a second run begins; give each run a log of its own");
        } else {
            throw LineError("there is no event \"" + event + "\"");
        }
    }

    FaultLog log;

private:
    void begin(const Json& object, const std::string& event) {
        if (event != words::kRun) throw LineError("is not the beginning of a fault log");
        if (const std::string schema = name(object, "schema"); schema != words::kSchema)
            throw LineError("has the schema \"" + schema + "\"; known is \"" + words::kSchema + "\"");
        log.seed = number(object, "seed");
    }
};

enum class LineEnd { whole, cut, tooLong, none };

// Reads a line without its end, and returns how it ended.
LineEnd nextLine(std::istream& stream, std::string& text) {
    text.clear();
    for (int character = stream.get(); character != std::istream::traits_type::eof(); character = stream.get()) {
        if (character == '\n') return LineEnd::whole;
        if (text.size() == kMaxFaultLogLine) return LineEnd::tooLong;
        text.push_back(static_cast<char>(character));
    }
    return text.empty() ? LineEnd::none : LineEnd::cut;
}

// Our programs use UTF-8 in narrow texts; Windows would not read a path of plain char as UTF-8.
std::filesystem::path pathOf(const std::string& text) { return reinterpret_cast<const char8_t*>(text.c_str()); }

FaultLogLook lookForFolder(const std::filesystem::path& folder, const std::string& path, std::string& problem) {
    std::error_code failure;
    if (folder.empty() || std::filesystem::is_directory(folder, failure)) {
        problem = path + ": is not there yet; a simulator that is started with --fault-log writes it";
        return FaultLogLook::notYet;
    }
    problem = path + ": cannot be read: there is no such folder";
    return FaultLogLook::never;
}

FaultLogLook lookAtFirstLine(std::istream& stream, const std::string& path, std::string& problem) {
    std::string text;
    const LineEnd end = nextLine(stream, text);
    if (end == LineEnd::none || end == LineEnd::cut) {
        problem = path + ": has no whole line yet; a simulator that is started with --fault-log writes it";
        return FaultLogLook::notYet;
    }
    try {
        if (end == LineEnd::tooLong) throw LineError("is longer than " + std::to_string(kMaxFaultLogLine) + " bytes");
        Reader().takeLine(text, 1);
        return FaultLogLook::readable;
    } catch (const LineError& error) {
        problem = path + ", line 1: " + error.what();
    }
    return FaultLogLook::never;
}

}  // namespace

bool readFaultLog(std::istream& stream, const std::string& path, FaultLog& log, std::string& error,
                  std::uint64_t megabytes) {
    Reader reader;
    std::string text;
    std::uint64_t lineNumber = 1;
    std::uint64_t bytes = 0;
    const auto fail = [&](const std::string& reason) {
        error = path + ", line " + std::to_string(lineNumber) + ": " + reason;
        return false;
    };
    for (;; ++lineNumber) {
        const LineEnd end = nextLine(stream, text);
        if (stream.bad()) return fail("cannot be read");
        if (end == LineEnd::none) break;
        if (end == LineEnd::tooLong) return fail("is longer than " + std::to_string(kMaxFaultLogLine) + " bytes");
        bytes += text.size() + 1;
        if (bytes > megabytes << 20) return fail("the log is larger than " + std::to_string(megabytes) + " MiB");
        reader.log.lines = lineNumber;
        try {
            reader.takeLine(text, lineNumber);
        } catch (const LineError& problem) {
            if (end == LineEnd::whole || lineNumber == 1) return fail(problem.what());
            reader.log.cut = true;
        }
    }
    if (lineNumber == 1) {
        error = path + ": is empty; a simulator with --fault-log writes a line when it begins";
        return false;
    }
    log = std::move(reader.log);
    return true;
}

bool readFaultLog(const std::string& path, FaultLog& log, std::string& error) {
    const std::filesystem::path file = pathOf(path);
    std::error_code failure;
    std::ifstream stream(file, std::ios::binary);
    if (!stream || std::filesystem::is_directory(file, failure)) {
        error = path + ": cannot be read";
        return false;
    }
    return readFaultLog(stream, path, log, error);
}

FaultLogLook lookAtFaultLog(const std::string& path, std::string& problem) {
    const std::filesystem::path file = pathOf(path);
    std::error_code failure;
    const std::filesystem::file_type type = std::filesystem::status(file, failure).type();
    if (type == std::filesystem::file_type::not_found) return lookForFolder(file.parent_path(), path, problem);
    const bool isSeen = type != std::filesystem::file_type::none && type != std::filesystem::file_type::unknown;
    if (isSeen && type != std::filesystem::file_type::directory) {
        // Reading from a pipe would consume its content.
        if (type != std::filesystem::file_type::regular) return FaultLogLook::readable;
        std::ifstream stream(file, std::ios::binary);
        if (stream) return lookAtFirstLine(stream, path, problem);
    }
    problem = path + ": cannot be read";
    return FaultLogLook::never;
}

}  // namespace host
