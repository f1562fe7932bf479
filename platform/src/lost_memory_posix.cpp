#include <algorithm>
#include <cstdio>

#include <signal.h>
#include <unistd.h>

#include "lost_memory.h"

namespace {

// Written before the handler is installed; afterwards only the handler reads it.
char sentence[256];
std::size_t sentenceBytes = 0;
int endingCode = 1;

// Calls only functions that a signal handler may call.
void explain(int signalNumber, siginfo_t* information, void*) {
    if (information->si_code != BUS_ADRERR) {  // somebody's kill, or a fault of another kind: as without this
        signal(signalNumber, SIG_DFL);
        raise(signalNumber);
        return;
    }
    if (write(STDERR_FILENO, sentence, sentenceBytes) < 0) _exit(endingCode);  // there is nobody left to inform
    _exit(endingCode);
}

}  // namespace

void platform_explainLostMemory(const char* program, int exitCode) {
    const int length = std::snprintf(sentence, sizeof sentence,
                                     "%s: shared memory in use was cut short by another program of this account; "
                                     "start the programs again\n",
                                     program);
    sentenceBytes = std::min(static_cast<std::size_t>(std::max(length, 0)), sizeof sentence - 1);
    endingCode = exitCode;
    struct sigaction action {};
    action.sa_sigaction = explain;
    action.sa_flags = SA_SIGINFO;
    sigemptyset(&action.sa_mask);
    sigaction(SIGBUS, &action, nullptr);
}
