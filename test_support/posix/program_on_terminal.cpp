#include "program_on_terminal.h"

#include <cerrno>

#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

namespace test {
namespace {

constexpr std::chrono::seconds kLimit{60};

// A screen without a lower end. It knows what our programs send: text, \r, \n, and the sequences that clear a line or
// choose a colour.
class Screen {
public:
    void put(const std::string& text) {
        for (std::size_t at = 0; at < text.size(); ++at) {
            const char byte = text[at];
            if (byte == '\r') {
                _column = 0;
            } else if (byte == '\n') {
                begin();
            } else if (byte == '\x1B') {
                at = obey(text, at);
            } else {
                putCharacter(byte);
            }
        }
    }
    std::vector<std::string> lines() const {
        std::vector<std::string> all = _lines;
        if (all.back().empty()) all.pop_back();
        return all;
    }

private:
    void begin() {
        _lines.emplace_back();
        _column = 0;
    }
    void putCharacter(char byte) {
        if (_column == ProgramOnTerminal::kColumns) begin();
        std::string& line = _lines.back();
        line.resize(std::max(line.size(), _column + 1), ' ');
        line[_column++] = byte;
    }
    // "\x1B[…LETTER". Returns where it ends.
    std::size_t obey(const std::string& text, std::size_t at) {
        const std::size_t end = text.find_first_of("ABCDEFGHJKSTfmnsu", at + 1);
        if (end == text.npos) return text.size();
        if (text[end] == 'K') _lines.back().resize(std::min(_lines.back().size(), _column));
        return end;
    }

    std::vector<std::string> _lines{""};
    std::size_t _column = 0;
};

}  // namespace

ProgramOnTerminal::ProgramOnTerminal(const std::string& name, Arguments arguments, const Arguments& environment) {
    arguments.insert(arguments.begin(), programFolder() + name);
    std::vector<char*> argv;
    for (std::string& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    winsize size{};
    size.ws_col = kColumns;
    size.ws_row = kLines;
    _id = forkpty(&_master, nullptr, nullptr, &size);
    if (_id != 0) return;
    for (const std::string& variable : environment) {
        const std::size_t equals = variable.find('=');
        ::setenv(variable.substr(0, equals).c_str(), variable.substr(equals + 1).c_str(), 1);
    }
    ::execv(argv[0], argv.data());
    ::_exit(127);
}

ProgramOnTerminal::~ProgramOnTerminal() {
    if (_id > 0) {
        ::kill(_id, SIGKILL);
        ::waitpid(_id, nullptr, 0);
    }
    if (_master >= 0) ::close(_master);
}

bool ProgramOnTerminal::waitForText(const std::string& text) {
    const auto deadline = std::chrono::steady_clock::now() + kLimit;
    while (_printed.find(text) == _printed.npos) {
        if (!readMore(deadline)) return false;
    }
    return true;
}

void ProgramOnTerminal::pressCtrlC() const {
    const char key = '\x03';
    static_cast<void>(!::write(_master, &key, 1));
}

int ProgramOnTerminal::join() {
    const auto deadline = std::chrono::steady_clock::now() + kLimit;
    while (readMore(deadline)) {
    }
    if (std::chrono::steady_clock::now() >= deadline) return -1;
    int status = 0;
    ::waitpid(_id, &status, 0);
    _id = 0;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

std::vector<std::string> ProgramOnTerminal::screen() const {
    Screen screen;
    screen.put(_printed);
    return screen.lines();
}

// False: nobody has the terminal any more, or it is too late.
bool ProgramOnTerminal::readMore(std::chrono::steady_clock::time_point deadline) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now()).count();
    pollfd asked{_master, POLLIN, 0};
    if (left <= 0 || ::poll(&asked, 1, static_cast<int>(left)) <= 0) return false;
    char buffer[4096];
    const ssize_t count = ::read(_master, buffer, sizeof buffer);
    if (count <= 0) return count < 0 && errno == EINTR;
    _printed.append(buffer, static_cast<std::size_t>(count));
    return true;
}

}  // namespace test
