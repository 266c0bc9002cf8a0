#include "DecoderProcess.h"

#include "ChildProcess.h"
#include "DecoderMessages.h"
#include "Limits.h"
#include "PictureMemory.h"

#include <algorithm>
#include <csignal>
#include <mutex>
#include <optional>
#include <utility>

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/resource.h>
#include <unistd.h>

namespace frameflow {

namespace {

using namespace std::chrono_literals;

// Limits are looked at again after this at the least: processor time is used up faster than one second in a second
// when a decoder has several threads, and time stands still while it is suspended.
constexpr Duration shortestWait = 20ms;
// Beside the pictures themselves: the libraries, their tables and stacks.
constexpr qint64 memoryOfLibraries = qint64(2) << 30;

TimePoint now()
{
    return std::chrono::steady_clock::now();
}

// The file, the picture decoded from it and a copy of that on its way to the screen's colours, and what pictures before
// it were handed over in.
qint64 memoryShare()
{
    return 3 * mostBytesForDecoding() + mostBytesKeptMapped + memoryOfLibraries;
}

bool isOfADecoder(DecodeError error)
{
    return error != DecodeError::DecoderLost && error != DecodeError::Cancelled;
}

bool fits(const BitmapLayout& layout, int longestSide)
{
    return qint64(layout.width) * layout.height <= mostPixelsHeld
        && (longestSide <= 0 || std::max(layout.width, layout.height) <= longestSide);
}

// Whether a decoder that keeps the rules can have answered this.
bool isPlausible(const AnswerMessage& answer, const DecodeRequest& request)
{
    const DecodedPicture& picture = answer.picture;
    if (picture.error != DecodeError::None) {
        return isOfADecoder(picture.error) && !answer.pixels;
    }
    if (picture.movie.has_value() != (request.wanted == Wanted::MovieProbe)) {
        return false;
    }
    if (!answer.pixels) {
        return picture.movie.has_value();
    }
    const QSize pixels(answer.pixels->layout.width, answer.pixels->layout.height);
    if (!answer.reducedSize.isEmpty() && answer.reducedSize != request.frame.reductionOf(picture.size, pixels)) {
        return false;
    }
    return fits(answer.pixels->layout, request.longestSide) && !picture.size.isEmpty() && picture.orientation >= 1
        && picture.orientation <= 8;
}

bool isReady(int descriptor, std::chrono::milliseconds within = 0ms)
{
    pollfd ready{descriptor, POLLIN, 0};
    return poll(&ready, 1, static_cast<int>(within.count())) > 0;
}

} // namespace

struct DecoderProcess::State
{
    enum class Event
    {
        Answered,
        Interrupted,
        Ended,
        LimitReached,
    };

    State(ChildProcess process, const DecoderLimits& some)
        : child(std::move(process)), limits(some), interrupted(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
    {
    }

    Duration pausedUntil(TimePoint moment) const
    {
        const std::lock_guard lock(mutex);
        return pausedFor + (pausedSince ? moment - *pausedSince : Duration{});
    }
    Event await() const;
    std::optional<BitmapWithCopy> bitmapOf(const SharedBitmap& shared, QSize copy) const;
    DecodedPicture receive(quint64 id, const DecodeRequest& request) const;

    std::shared_ptr<PictureMemory> memory; // that a lost process may still write into
    ChildProcess child; // ended before the memory is let go
    DecoderLimits limits;
    FileDescriptor interrupted;
    quint64 lastId = 0;
    bool isLost = false;

    mutable std::mutex mutex; // for what follows
    std::optional<TimePoint> pausedSince;
    Duration pausedFor{};
};

DecoderProcess::State::Event DecoderProcess::State::await() const
{
    const TimePoint begun = now();
    const Duration pausedBefore = pausedUntil(begun);
    const auto workedBefore = child.processorTime();
    while (true) {
        const TimePoint moment = now();
        Duration left = limits.wallTime - (moment - begun - (pausedUntil(moment) - pausedBefore));
        const auto worked = child.processorTime();
        if (worked && workedBefore) {
            left = std::min<Duration>(left, limits.processorTime - (*worked - *workedBefore));
        }
        if (left <= Duration{}) {
            return Event::LimitReached;
        }
        const Duration wait = std::max(left, shortestWait);
        pollfd ready[]
            = {{child.socket(), POLLIN, 0}, {interrupted.number(), POLLIN, 0}, {child.lifeline(), POLLIN, 0}};
        const timespec timeout{wait / 1s, (wait % 1s).count()};
        if (ppoll(ready, std::size(ready), &timeout, nullptr) <= 0) {
            continue;
        }
        if (ready[1].revents != 0) {
            return Event::Interrupted;
        }
        // An answer before an end: it may have been given just before.
        return (ready[0].revents & POLLIN) != 0 ? Event::Answered : Event::Ended;
    }
}

std::optional<BitmapWithCopy> DecoderProcess::State::bitmapOf(const SharedBitmap& shared, QSize copy) const
{
    if (shared.memory.isOpen()) {
        return mapSealedWithCopy(shared.memory, shared.layout, copy);
    }
    auto pixels = memory ? PictureMemory::image(memory, shared.layout) : std::nullopt;
    auto behind = pixels && !copy.isEmpty() ? PictureMemory::imageBehind(memory, shared.layout, copy) : QImage();
    if (!pixels || !behind) {
        return std::nullopt;
    }
    return BitmapWithCopy{*std::move(pixels), *std::move(behind)};
}

DecodedPicture DecoderProcess::State::receive(quint64 id, const DecodeRequest& request) const
{
    AnswerMessage answer;
    if (receiveAnswer(child.socket(), answer) != MessageStatus::Received || answer.id != id
        || !isPlausible(answer, request)) {
        return DecodedPicture::failed(DecodeError::DecoderLost);
    }
    DecodedPicture picture = std::move(answer.picture);
    picture.pixels = {};
    if (answer.pixels) {
        auto bitmap = bitmapOf(*answer.pixels, answer.reducedSize);
        if (!bitmap) {
            return DecodedPicture::failed(DecodeError::DecoderLost);
        }
        picture.pixels = std::move(bitmap->pixels);
        picture.reduced = std::move(bitmap->copy);
    }
    return picture;
}

std::unique_ptr<DecoderProcess> DecoderProcess::start(const QByteArray& program, const DecoderLimits& limits)
{
    const qint64 memory = limits.memory > 0 ? limits.memory : memoryShare();
    const auto seconds = std::chrono::ceil<std::chrono::seconds>(limits.processorTime).count();
    auto child = ChildProcess::start(
        program, {QByteArray::number(memory), QByteArray::number(qint64(seconds)), QByteArray::number(getpid())});
    if (!child) {
        return nullptr;
    }
    auto state = std::make_unique<State>(*std::move(child), limits);
    if (!state->interrupted.isOpen()) {
        return nullptr;
    }
    return std::unique_ptr<DecoderProcess>(new DecoderProcess(std::move(state)));
}

DecoderProcess::DecoderProcess(std::unique_ptr<State> state) : mState(std::move(state)) { }

DecoderProcess::~DecoderProcess() = default;

DecodedPicture DecoderProcess::decode(
    const FileDescriptor& file, const DecodeRequest& request, std::shared_ptr<PictureMemory> memory)
{
    DecodedPicture picture = DecodedPicture::failed(DecodeError::DecoderLost);
    const quint64 id = ++mState->lastId;
    if (isReady(mState->interrupted.number())) {
        picture.error = DecodeError::Cancelled;
    } else if (isUsable()
        && sendRequest(mState->child.socket(), id, request, file.number(), memory ? memory->descriptor() : -1)) {
        mState->memory = std::move(memory);
        switch (mState->await()) {
        case State::Event::Answered:
            picture = mState->receive(id, request);
            break;
        case State::Event::Interrupted:
            picture.error = DecodeError::Cancelled;
            break;
        case State::Event::Ended:
        case State::Event::LimitReached:
            break;
        }
    }
    if (!isOfADecoder(picture.error)) {
        mState->isLost = true;
        mState->child.signal(SIGKILL);
    } else {
        mState->memory.reset();
    }
    return picture;
}

void DecoderProcess::interrupt()
{
    eventfd_write(mState->interrupted.number(), 1);
}

void DecoderProcess::pause()
{
    const std::lock_guard lock(mState->mutex);
    if (!mState->pausedSince) {
        mState->pausedSince = now();
        mState->child.signal(SIGSTOP);
    }
}

void DecoderProcess::resume()
{
    const std::lock_guard lock(mState->mutex);
    if (mState->pausedSince) {
        mState->pausedFor += now() - *std::exchange(mState->pausedSince, std::nullopt);
        mState->child.signal(SIGCONT);
    }
}

bool DecoderProcess::isUsable() const
{
    // A decoder speaks only when it is asked.
    return !mState->isLost && !isReady(mState->interrupted.number()) && !isReady(mState->child.socket())
        && !isReady(mState->child.lifeline());
}

bool DecoderProcess::endsWithin(std::chrono::milliseconds span) const
{
    return isReady(mState->child.lifeline(), span);
}

pid_t DecoderProcess::processId() const
{
    return mState->child.id();
}

} // namespace frameflow
