// held_decoder: a decoder program that waits for a word from a test before it answers for files that say so.

#include "Decode.h"
#include "DecoderMessages.h"
#include "FileContents.h"
#include "SharedBitmap.h"

#include <QGuiApplication>

#include <csignal>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <unistd.h>

using namespace frameflow;

namespace {

constexpr int socketNumber = 3;

// In one piece, so that whoever reads along sees whole lines.
void note(const QByteArray& path)
{
    const FileDescriptor notes(open(path.constData(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600));
    const QByteArray line = QByteArray::number(getpid()) + '\n';
    static_cast<void>(write(notes.number(), line.constData(), line.size()));
}

DecodedPicture decodeHeld(const QByteArray& contents, const DecodeRequest& request)
{
    const qsizetype end = contents.indexOf('\n');
    const QByteArray pipe = contents.mid(5, end - 5);
    note(pipe + ".decoders");
    const FileDescriptor waiting(open(pipe.constData(), O_RDONLY | O_CLOEXEC));
    char word = 'b';
    if (!waiting.isOpen() || read(waiting.number(), &word, 1) != 1 || word != 'g') {
        return DecodedPicture::failed(DecodeError::Damaged);
    }
    const FileDescriptor rest(memfd_create("rest", MFD_CLOEXEC));
    const QByteArray picture = contents.mid(end + 1);
    if (write(rest.number(), picture.constData(), picture.size()) != picture.size()) {
        return DecodedPicture::failed(DecodeError::TooLarge);
    }
    // Memory counts as a regular file.
    return decodePicture(rest.number(), request);
}

DecodedPicture decode(const RequestMessage& message)
{
    DecodeError error = DecodeError::None;
    const auto contents = readContents(message.file.number(), &error);
    if (contents && contents->startsWith("held ")) {
        return decodeHeld(*contents, message.request);
    }
    return decodePicture(message.file.number(), message.request);
}

} // namespace

int main(int argc, char** argv)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL); // as a decoder of the program
    qputenv("QT_QPA_PLATFORM", "minimal");
    const QGuiApplication application(argc, argv);
    RequestMessage message;
    while (receiveRequest(socketNumber, message) == MessageStatus::Received) {
        AnswerMessage answer;
        answer.id = message.id;
        answer.picture = decode(message);
        if (!answer.picture.pixels.isNull()) {
            answer.pixels = sealed(std::move(answer.picture.pixels));
        }
        if (!sendAnswer(socketNumber, answer)) {
            break;
        }
    }
    return 0;
}
