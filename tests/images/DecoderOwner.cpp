// A program with a pool: decodes the files that it is handed, says with each that is done which processes it has, and
// stays until it is killed.

#include "DecoderPool.h"

#include <cstdio>

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
        pool.decode({FileUrl::fromPath(QByteArray(argv[i])), {}, Urgency::Ahead}, [&](DecodedFile&&) {
            for (const pid_t process : pool.processes()) {
                std::printf("%d\n", process);
            }
            std::fflush(stdout);
        });
    }
    while (true) {
        pause();
    }
}
