// hostile_client: connects to the host's pipe as no real client does.
//   silent N PATH: opens up to N connections and sends nothing on them, then
//   waits until the host has closed every one; writes "open=M dropped=K" to PATH.
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "pipe.h"

int main(int argc, char** argv) {
    using namespace mirt::platform;
    if (argc != 4 || std::string(argv[1]) != "silent") return 2;
    std::vector<PipeHandle> open;
    for (int i = 0; i < atoi(argv[2]); ++i) {
        PipeHandle pipe = invalid_pipe;
        PipeOpen opened = open_host_pipe(&pipe);
        // Under Windows each connection waits for the host to make an instance.
        for (int wait = 0; opened == PipeOpen::busy && wait < 60; ++wait) {
            wait_for_host_pipe(500);
            opened = open_host_pipe(&pipe);
        }
        if (opened == PipeOpen::opened) open.push_back(pipe);
    }
    int dropped = 0;
    for (PipeHandle pipe : open) {
        char byte;
        if (read_message(pipe, &byte, 1) <= 0) ++dropped;
        close_pipe(pipe);
    }
    FILE* report = fopen(argv[3], "w");
    if (report == nullptr) return 1;
    fprintf(report, "open=%zu dropped=%d", open.size(), dropped);
    fclose(report);
    return 0;
}
