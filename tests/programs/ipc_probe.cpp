// ipc_probe: speaks to the host's pipe directly, with texts that no real client sends.
//   send TEXT (prints "answer=N" or "closed") | selfreg NAME (registers this process's
//   id under another executable's name) | touch PATH | waitfile PATH
#include <cstdio>
#include <cstring>
#include <string>

#include "file_signals.h"
#include "pipe.h"
#include "process.h"

namespace {
void send(const std::string& text) {
    using namespace mirt::platform;
    PipeHandle pipe = invalid_pipe;
    PipeOpen opened;
    while ((opened = open_host_pipe(&pipe)) == PipeOpen::busy) wait_for_host_pipe(500);
    if (opened != PipeOpen::opened) {
        printf("nohost\n");
        return;
    }
    set_message_mode(pipe);
    write_message(pipe, text.c_str(), text.size() + 1);
    char answer[4096];
    long got = read_message(pipe, answer, sizeof answer - 1);
    if (got > 0) {
        answer[got] = '\0';
        printf("answer=%s\n", answer);
    } else {
        printf("closed\n");
    }
    close_pipe(pipe);
}
}  // namespace

int main(int argc, char** argv) {
    for (int i = 1; i + 1 < argc; i += 2) {
        std::string command = argv[i];
        const char* arg = argv[i + 1];
        if (command == "send") send(arg);
        else if (command == "selfreg") send("CR:" + std::string(arg) + ":" + std::to_string(mirt::platform::current_process_id()));
        else if (command == "touch") touch_file(arg);
        else if (command == "waitfile" && !wait_for_file(arg)) return 3;
        fflush(stdout);
    }
    return 0;
}
