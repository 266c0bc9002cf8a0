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

// The pixels where the program looks for them; nothing when there is no memory.
std::optional<SharedBitmap> shared(const QImage& pixels, const FileDescriptor& given, const TargetMemory& target)
{
    if (target.holds(pixels) || (target.suits(pixels.sizeInBytes()) && writePixels(pixels, given))) {
        return SharedBitmap{{}, layoutOf(pixels)};
    }
    return sealed(pixels);
}

AnswerMessage answerTo(const RequestMessage& message, GivenMemories& memories)
{
    // Declared first: no image is to be left in it.
    TargetMemory target(memories.lookAt(message.memory));
    AnswerMessage answer;
    answer.id = message.id;
    answer.picture = decodePicture(message.file.number(), message.request);
    const QImage pixels = std::exchange(answer.picture.pixels, QImage());
    const QImage reduced = std::exchange(answer.picture.reduced, QImage());
    if (target.holds(pixels) && !reduced.isNull()) {
        answer.reducedSize = reduced.size();
    }
    if (!pixels.isNull()) {
        answer.pixels = shared(pixels, message.memory, target);
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
