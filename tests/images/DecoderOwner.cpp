// A program with a pool: decodes the files that it is handed, says which processes it has, and stays until it is
// killed.

#include "DecoderPool.h"

#include <csignal>
#include <cstdio>
#include <utility>

#include <unistd.h>

using namespace frameflow;

int main(int argc, char** argv)
{
    if (argc < 2) {
        return 2;
    }
    DecoderPool::Options options;
    options.commonDecoder = argv[1];
    options.atOnce = 2;
    DecoderPool pool(options);
    pool.warmUp();
    for (int i = 2; i < argc; ++i) {
        pool.decode({FileUrl::fromPath(QByteArray(argv[i])), {}, Urgency::Ahead}, [](DecodedFile&&) {});
    }
    QList<pid_t> processes;
    while (processes.size() < argc - 2) {
        usleep(1000);
        processes = pool.processes();
    }
    for (const pid_t process : std::as_const(processes)) {
        std::printf("%d\n", process);
    }
    std::fflush(stdout);
    while (true) {
        pause();
    }
}
