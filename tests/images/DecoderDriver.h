#pragma once

#include "DecoderMessages.h"

#include <QByteArray>
#include <QImage>

#include <optional>

#include <sys/types.h>

namespace frameflow {

// A decoder program and the socket to it, as a test sees them: without limits of time, retries or replacement.
class DecoderDriver
{
public:
    struct Settings
    {
        qint64 memory = 0;
        int processorSeconds = 0;
        QList<QByteArray> environment; // in place of this process's own, where there is any
        bool hasSocket = true;
        pid_t starter = 0; // 0 for this process
    };

    // Fails the program (qFatal) when it cannot be started.
    explicit DecoderDriver(const char* program) : DecoderDriver(program, Settings()) { }
    DecoderDriver(const char* program, const Settings& settings);
    // Ends the process.
    ~DecoderDriver();
    DecoderDriver(const DecoderDriver&) = delete;
    DecoderDriver& operator=(const DecoderDriver&) = delete;

    pid_t processId() const { return mProcess; }
    int socket() const { return mSocket.number(); }
    void closeSocket();

    // Sends a request for the file, under that name, with memory for its picture where there is any.
    bool ask(const QByteArray& path, const DecodeRequest& request, int memory = -1);
    // Waits for the answer as it comes. Nothing when the process answers no more.
    std::optional<AnswerMessage> message();
    // The same, with pixels that came in memory of the decoder's own mapped.
    std::optional<DecodedPicture> answer();
    // Both.
    std::optional<DecodedPicture> decode(const QByteArray& path, const DecodeRequest& request);
    // With the name of the file itself.
    std::optional<DecodedPicture> decode(const QByteArray& path, int longestSide = 0);

    // Waits for the end; the status as waitpid tells it.
    int waitForEnd();
    bool hasEnded();

private:
    pid_t mProcess = -1;
    FileDescriptor mSocket;
    quint64 mLastId = 0;
    std::optional<int> mStatus;
};

} // namespace frameflow
