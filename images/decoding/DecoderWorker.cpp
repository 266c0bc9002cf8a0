#include "DecoderWorker.h"

#include "BackgroundThread.h"
#include "DecoderPoolState.h"
#include "TargetMemory.h"

#include <algorithm>
#include <utility>

namespace frameflow {

namespace {

// What a decode in this process works on; it may go on when nobody waits for it any more.
struct ThreadDecode
{
    std::shared_ptr<OpenedFile> opened;
    DecodeRequest request;
    DecodedPicture picture;
};

// What a picture like this one takes, with a copy of it behind.
qint64 roomFor(const DecodeRequest& request, const DecodedPicture& picture)
{
    const QSize copy = request.frame.reductionOf(picture.size, picture.pixels.size());
    return placeBehind(picture.pixels.sizeInBytes()) + (copy.isEmpty() ? 0 : qint64(copy.width()) * copy.height() * 4);
}

// A picture that has just been decoded comes on the screen in a moment, and lets go of the oldest one: waiting for its
// memory costs less than bringing in fresh one. Not where somebody waits for the picture itself.
Duration patienceFor(Urgency urgency)
{
    constexpr Duration patience = std::chrono::milliseconds(15);
    return urgency == Urgency::Asked ? Duration() : patience;
}

} // namespace

std::unique_ptr<DecoderWorker> DecoderWorker::start(DecoderPoolState& pool)
{
    std::unique_ptr<DecoderWorker> worker(new DecoderWorker(pool));
    auto thread = backgroundThread("decoding", [raw = worker.get()] { raw->work(); });
    if (!thread) {
        return nullptr;
    }
    worker->mThread = *std::move(thread);
    return worker;
}

DecoderWorker::~DecoderWorker()
{
    {
        const std::lock_guard lock(mMutex);
        mIsClosed = true;
        mChanged.notify_one();
    }
    if (mThread.joinable()) {
        mThread.join();
    }
}

void DecoderWorker::assign(PoolJobPtr job)
{
    const std::lock_guard lock(mMutex);
    mJob = std::move(job);
    mChanged.notify_one();
}

void DecoderWorker::work()
{
    while (true) {
        PoolJobPtr job;
        {
            std::unique_lock lock(mMutex);
            mChanged.wait(lock, [&] { return mJob || mIsClosed; });
            job = std::exchange(mJob, nullptr);
        }
        if (!job) {
            return;
        }
        run(job);
        job.reset();
        cleanUp();
        mPool.becomeIdle(*this);
    }
}

void DecoderWorker::run(const PoolJobPtr& job)
{
    mLostAThread = false;
    const std::stop_token stop = job->stop.get_token();
    DecodedFile result;
    auto opened = std::make_shared<OpenedFile>();
    if (!mErrands.run([opened, url = job->url] { *opened = openFile(url); }, deadline(), stop)) {
        result.picture.error = stop.stop_requested() ? DecodeError::Cancelled : DecodeError::Unreadable;
        result.mayStall = true;
    } else {
        result.stamp = opened->stamp;
        result.mayStall = opened->mayStall;
        result.picture = opened->file.isOpen() ? decode(*job, opened) : DecodedPicture::failed(DecodeError::Unreadable);
    }
    if (result.mayStall && opened->file.isOpen()) {
        // Closing may wait for the server, too.
        mErrands.run([opened = std::exchange(opened, nullptr)] { opened->file = FileDescriptor(); }, deadline(), stop);
    }
    opened.reset();
    if (result.picture.error != DecodeError::DecoderLost || mLostAThread || !mPool.tryAlone(job)) {
        mPool.finish(job, std::move(result));
    }
}

DecodedPicture DecoderWorker::decode(PoolJob& job, const std::shared_ptr<OpenedFile>& opened)
{
    const DecoderKind kind = mPool.firstKind(job.request);
    DecodedPicture picture = decodeBy(kind, job, opened);
    if (kind == DecoderKind::Common && picture.error == DecodeError::None) {
        mPool.noteKind(kind, job.request);
    } else if (kind == DecoderKind::Common && picture.error == DecodeError::NeedsExtraDecoders) {
        picture = decodeBy(DecoderKind::Extra, job, opened);
        if (picture.error == DecodeError::None) {
            mPool.noteKind(DecoderKind::Extra, job.request);
        }
    }
    if (picture.error == DecodeError::NeedsExtraDecoders) {
        picture.error = DecodeError::NotAPicture;
    }
    return picture;
}

DecodedPicture DecoderWorker::decodeBy(DecoderKind kind, PoolJob& job, const std::shared_ptr<OpenedFile>& opened)
{
    const std::stop_token stop = job.stop.get_token();
    if (stop.stop_requested()) {
        return DecodedPicture::failed(DecodeError::Cancelled);
    }
    auto process = mPool.attemptOf(job) == Attempt::Alone ? mPool.store().start(kind) : mPool.store().take(kind);
    if (!process) {
        return decodeHere(job, opened);
    }
    DecodedPicture picture;
    {
        const std::stop_callback interruption(stop, [&] { process->interrupt(); });
        const bool mayBeLarge = job.request.wanted == Wanted::Picture && job.request.longestSide == 0;
        auto memory = mayBeLarge ? mPool.memories()->take(patienceFor(mPool.urgencyOf(job))) : nullptr;
        mPool.attach(job, *process);
        picture = process->decode(opened->file, job.request, std::move(memory));
        mPool.detach(job);
        if (mayBeLarge && !picture.pixels.isNull()) {
            mPool.memories()->noteSize(roomFor(job.request, picture));
        }
    }
    if (process->isUsable()) {
        mPool.store().put(kind, std::move(process));
    } else {
        mUsed.push_back({kind, std::move(process), picture.error == DecodeError::Cancelled});
    }
    const bool wasLast = picture.error == DecodeError::DecoderLost && mPool.attemptOf(job) == Attempt::Alone;
    if (wasLast && mPool.store().areBroken(kind)) {
        return decodeHere(job, opened);
    }
    return picture;
}

DecodedPicture DecoderWorker::decodeHere(const PoolJob& job, const std::shared_ptr<OpenedFile>& opened)
{
    const auto decode = std::make_shared<ThreadDecode>(ThreadDecode{opened, job.request, {}});
    const auto errand = [decode, module = mPool.fallback()] {
        if (const auto function = module->function()) {
            function(decode->opened->file.number(), &decode->request, &decode->picture);
        } else {
            decode->picture.error = DecodeError::Unreadable;
        }
    };
    const std::stop_token stop = job.stop.get_token();
    if (mErrands.run(errand, deadline(), stop)) {
        return decode->picture;
    }
    // Once is enough: the thread that it has taken cannot be ended.
    mLostAThread = true;
    return DecodedPicture::failed(stop.stop_requested() ? DecodeError::Cancelled : DecodeError::DecoderLost);
}

TimePoint DecoderWorker::deadline() const
{
    return std::chrono::steady_clock::now() + mPool.limits().wallTime;
}

void DecoderWorker::cleanUp()
{
    for (Used& used : mUsed) {
        used.process.reset();
        if (used.isWanted && !mPool.isClosing()) {
            mPool.store().prepare(used.kind);
        }
    }
    mUsed.clear();
}

} // namespace frameflow
