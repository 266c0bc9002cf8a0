#include "BenchTools.h"

#include <QEventLoop>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>

#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace frameflow::bench {

using Milliseconds = std::chrono::duration<double, std::milli>;

double timed(const std::function<void()>& work)
{
    const auto begin = std::chrono::steady_clock::now();
    work();
    return Milliseconds(std::chrono::steady_clock::now() - begin).count();
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

void report(const char* name, double figure, const char* reference, double referenceTime, double limit)
{
    const double ratio = figure / referenceTime;
    std::printf("%s|%.1f ms|%s %.1f ms|%.2f|%.2f\n", name, figure, reference, referenceTime, ratio, limit);
    std::fflush(stdout);
}

void require(bool succeeded, const char* what)
{
    if (!succeeded) {
        std::perror(what);
        std::exit(1);
    }
}

void makeTree(const QByteArray& root, int files)
{
    constexpr int filesInFolder = 200;
    require(mkdir(root.constData(), 0777) == 0, "mkdir");
    for (int folder = 0; folder < files / filesInFolder; ++folder) {
        const QByteArray path = root + "/holiday " + QByteArray::number(folder);
        require(mkdir(path.constData(), 0777) == 0, "mkdir");
        for (int file = 0; file < filesInFolder; ++file) {
            const int number = (folder * filesInFolder + file) * 7919 % files;
            const QByteArray name = path + "/IMG_" + QByteArray::number(number) + (file % 4 == 3 ? ".xmp" : ".jpg");
            const int descriptor = open(name.constData(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
            require(descriptor >= 0, "open");
            close(descriptor);
        }
    }
}

void runFind(const QByteArray& root)
{
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    QByteArray path = root;
    char program[] = "find";
    char option[] = "-printf";
    char format[] = "%T@ %s %p\\n";
    char* arguments[] = {program, path.data(), option, format, nullptr};
    pid_t process = 0;
    require(posix_spawnp(&process, program, &actions, nullptr, arguments, environ) == 0, "find");
    posix_spawn_file_actions_destroy(&actions);
    int status = 0;
    waitpid(process, &status, 0);
    require(status == 0, "find");
}

void collect(FileSequence& sequence, SerialQueue& queue, const QByteArray& root)
{
    QEventLoop loop;
    CollectionRequest request{CollectionRequest::Adder::Directory, {FileUrl::fromPath(root)}, true, true, true};
    sequence.collect(queue, request, [&] { loop.quit(); });
    loop.exec();
}

} // namespace frameflow::bench
