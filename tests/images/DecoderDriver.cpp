#include "DecoderDriver.h"

#include "SharedBitmap.h"

#include <csignal>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace frameflow {

namespace {

std::vector<char*> pointersTo(QList<QByteArray>& texts)
{
    std::vector<char*> pointers;
    for (QByteArray& text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

} // namespace

DecoderDriver::DecoderDriver(const char* program, const Settings& settings)
{
    int ends[2] = {-1, -1};
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) {
        qFatal("no sockets to test with");
    }
    mSocket = FileDescriptor(ends[0]);
    const FileDescriptor theirs(ends[1]);
    QList<QByteArray> arguments{program, QByteArray::number(settings.memory),
        QByteArray::number(settings.processorSeconds),
        QByteArray::number(settings.starter != 0 ? settings.starter : getpid())};
    QList<QByteArray> environment = settings.environment;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    constexpr int childSocket = 3;
    if (settings.hasSocket) {
        posix_spawn_file_actions_adddup2(&actions, theirs.number(), childSocket);
    } else {
        posix_spawn_file_actions_addopen(&actions, childSocket, "/dev/null", O_RDWR, 0);
    }
    const int status = posix_spawn(&mProcess, program, &actions, nullptr, pointersTo(arguments).data(),
        environment.isEmpty() ? environ : pointersTo(environment).data());
    posix_spawn_file_actions_destroy(&actions);
    if (status != 0) {
        qFatal("%s cannot be started", program);
    }
}

DecoderDriver::~DecoderDriver()
{
    if (!mStatus) {
        kill(mProcess, SIGKILL);
        waitForEnd();
    }
}

void DecoderDriver::closeSocket()
{
    const FileDescriptor closing = std::move(mSocket);
}

bool DecoderDriver::ask(const QByteArray& path, const DecodeRequest& request, int memory)
{
    const FileDescriptor file = openForDecoding(FileUrl::fromPath(path));
    return sendRequest(mSocket.number(), ++mLastId, request, file.number(), memory);
}

std::optional<AnswerMessage> DecoderDriver::message()
{
    AnswerMessage message;
    if (receiveAnswer(mSocket.number(), message) != MessageStatus::Received || message.id != mLastId) {
        return std::nullopt;
    }
    return message;
}

std::optional<DecodedPicture> DecoderDriver::answer()
{
    auto answer = message();
    if (!answer) {
        return std::nullopt;
    }
    if (answer->pixels) {
        const auto pixels = mapSealed(answer->pixels->memory, answer->pixels->layout);
        if (!pixels) {
            return std::nullopt;
        }
        answer->picture.pixels = *pixels;
    }
    return answer->picture;
}

std::optional<DecodedPicture> DecoderDriver::decode(const QByteArray& path, const DecodeRequest& request)
{
    return ask(path, request) ? answer() : std::nullopt;
}

std::optional<DecodedPicture> DecoderDriver::decode(const QByteArray& path, int longestSide)
{
    DecodeRequest request;
    request.fileName = path.mid(path.lastIndexOf('/') + 1);
    request.longestSide = longestSide;
    return decode(path, request);
}

int DecoderDriver::waitForEnd()
{
    int status = 0;
    if (!mStatus && waitpid(mProcess, &status, 0) == mProcess) {
        mStatus = status;
    }
    return mStatus.value_or(-1);
}

bool DecoderDriver::hasEnded()
{
    int status = 0;
    if (!mStatus && waitpid(mProcess, &status, WNOHANG) == mProcess) {
        mStatus = status;
    }
    return mStatus.has_value();
}

} // namespace frameflow
