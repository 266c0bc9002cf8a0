#include "DecoderService.h"

#include "Decode.h"
#include "DecoderMessages.h"
#include "SharedBitmap.h"

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

AnswerMessage answerTo(const RequestMessage& message)
{
    AnswerMessage answer;
    answer.id = message.id;
    answer.picture = decodePicture(message.file.number(), message.request);
    const QImage pixels = std::exchange(answer.picture.pixels, QImage());
    if (!pixels.isNull()) {
        answer.pixels = sealed(pixels);
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
    RequestMessage message;
    while (receiveRequest(socket, message) == MessageStatus::Received) {
        limitProcessorTime(processorTime);
        const AnswerMessage answer = answerTo(message);
        limitProcessorTime({});
        message = {};
        if (!sendAnswer(socket, answer)) {
            return;
        }
    }
}

} // namespace frameflow
