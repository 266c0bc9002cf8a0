#include "DecoderPool.h"

#include "DecoderPoolState.h"

#include <array>
#include <condition_variable>
#include <mutex>
#include <utility>

#include <unistd.h>

namespace frameflow {

namespace {

// Of the running program itself, without the links that lead to it.
QByteArray programFolder()
{
    std::array<char, 4096> path{};
    const ssize_t length = readlink("/proc/self/exe", path.data(), path.size());
    const QByteArray program(path.data(), std::max<ssize_t>(length, 0));
    return program.left(program.lastIndexOf('/'));
}

std::mutex configuration;
std::optional<DecoderPool::Options>& configured()
{
    static std::optional<DecoderPool::Options> options;
    return options;
}

} // namespace

void DecoderPool::Ticket::cancel() const
{
    if (const auto pool = mJob ? mJob->pool.lock() : nullptr) {
        pool->cancel(mJob);
    }
}

bool DecoderPool::Ticket::cancelUnlessBegun() const
{
    const auto pool = mJob ? mJob->pool.lock() : nullptr;
    return pool && pool->cancelUnlessBegun(mJob);
}

void DecoderPool::Ticket::raise(Urgency urgency) const
{
    if (const auto pool = mJob ? mJob->pool.lock() : nullptr) {
        pool->raise(mJob, urgency);
    }
}

DecoderPool::Options DecoderPool::installed()
{
    const QByteArray folder = programFolder();
    Options options;
    options.commonDecoder = folder + "/../libexec/frameflow/frameflow-decoder";
    options.extraDecoder = folder + "/../libexec/frameflow/frameflow-decoder-extra";
    // As it is built, then as it is installed.
    options.module = folder + "/../lib/frameflow-decoders.so";
    if (access(options.module.constData(), R_OK) != 0) {
        options.module = folder + "/" FRAMEFLOW_MODULE_FOLDER "/frameflow-decoders.so";
    }
    return options;
}

DecoderPool& DecoderPool::instance()
{
    static DecoderPool pool([] {
        const std::lock_guard lock(configuration);
        return configured() ? *configured() : installed();
    }());
    return pool;
}

void DecoderPool::configure(const Options& options)
{
    const std::lock_guard lock(configuration);
    configured() = options;
}

DecoderPool::DecoderPool(const Options& options) : mState(std::make_shared<DecoderPoolState>(options))
{
    mState->open();
}

DecoderPool::~DecoderPool()
{
    mState->close();
}

void DecoderPool::warmUp(int processes)
{
    mState->store().prepare(DecoderKind::Common, static_cast<size_t>(std::max(processes, 0)));
}

DecoderPool::Ticket DecoderPool::decode(const DecodeJob& job, std::function<void(DecodedFile&&)> done)
{
    return Ticket(mState->submit(job, std::move(done)));
}

DecodedFile DecoderPool::decodeAndWait(const DecodeJob& job)
{
    std::mutex mutex;
    std::condition_variable changed;
    std::optional<DecodedFile> result;
    decode(job, [&](DecodedFile&& file) {
        const std::lock_guard lock(mutex);
        result = std::move(file);
        changed.notify_one();
    });
    std::unique_lock lock(mutex);
    changed.wait(lock, [&] { return result.has_value(); });
    return *std::move(result);
}

QList<pid_t> DecoderPool::processes() const
{
    return mState->processes();
}

} // namespace frameflow
