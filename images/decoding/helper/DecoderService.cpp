#include "DecoderService.h"

#include "Decode.h"
#include "DecoderMessages.h"
#include "GivenMemories.h"
#include "SharedBitmap.h"
#include "TargetMemory.h"

#include <thread>
#include <utility>

#include <poll.h>
#include <sys/time.h>
#include <unistd.h>

namespace frameflow {

namespace {

// While a decoding runs, nobody reads the socket.
void endWithOtherSide(int socket)
{
    pollfd hangUp{socket, 0, 0};
    while ((hangUp.revents & (POLLHUP | POLLERR | POLLNVAL)) == 0) {
        poll(&hangUp, 1, -1);
    }
    _exit(0);
}

// The signal that comes at its end ends the process.
void limitProcessorTime(std::chrono::seconds most)
{
    const itimerval limit{{}, {static_cast<time_t>(most.count()), 0}};
    setitimer(ITIMER_PROF, &limit, nullptr);
}

QSize sizeOf(const QImage& copy)
{
    return copy.isNull() ? QSize(0, 0) : copy.size();
}

// Puts the pixels and their copy where the program looks for them. The answer has none when there is no memory.
void share(
    AnswerMessage& answer, const QImage& pixels, const QImage& copy, const FileDescriptor& given, TargetMemory& target)
{
    const qint64 place = placeBehind(pixels.sizeInBytes());
    FileDescriptor own;
    const bool wasWritten = target.wasWritten(pixels, own);
    answer.reducedSize = sizeOf(copy);
    if (target.holds(pixels)) {
        answer.pixels.emplace(SharedBitmap{{}, layoutOf(pixels)});
    } else if (own.isOpen()) {
        answer.pixels = sealedWith(std::move(own), pixels, copy);
    } else if (target.suits(pixels.sizeInBytes()) && (wasWritten || writePixels(pixels, given))) {
        answer.pixels.emplace(SharedBitmap{{}, layoutOf(pixels)});
        const bool isBehind
            = !copy.isNull() && target.suits(place + copy.sizeInBytes()) && writePixels(copy, given, place);
        answer.reducedSize = isBehind ? copy.size() : QSize(0, 0);
    } else {
        answer.pixels = sealed(pixels, copy);
    }
}

AnswerMessage answerTo(const RequestMessage& message, GivenMemories& memories)
{
    // Declared first: no image is to be left in it.
    TargetMemory target(memories.lookAt(message.memory), message.memory.number());
    AnswerMessage answer;
    answer.id = message.id;
    answer.picture = decodePicture(message.file.number(), message.request);
    const QImage pixels = std::exchange(answer.picture.pixels, QImage());
    const QImage reduced = std::exchange(answer.picture.reduced, QImage());
    if (!pixels.isNull()) {
        share(answer, pixels, reduced, message.memory, target);
        if (!answer.pixels) {
            answer.picture = DecodedPicture::failed(DecodeError::TooLarge);
        }
    }
    return answer;
}

} // namespace

void serveDecoding(int socket, std::chrono::seconds processorTime)
{
    std::thread(endWithOtherSide, socket).detach();
    GivenMemories memories;
    RequestMessage message;
    while (receiveRequest(socket, message) == MessageStatus::Received) {
        limitProcessorTime(processorTime);
        const AnswerMessage answer = answerTo(message, memories);
        limitProcessorTime({});
        message = {};
        if (!sendAnswer(socket, answer)) {
            return;
        }
    }
}

} // namespace frameflow
