#pragma once

#include "DecodedPicture.h"
#include "FileContents.h"
#include "SharedBitmap.h"

#include <optional>

namespace frameflow {

// One packet each way over a socket that keeps packets whole. The file travels with the request, the pixels with the
// answer, as descriptors; the request may bring memory for them along. Every packet names the request that it belongs
// to.

struct RequestMessage
{
    quint64 id = 0;
    DecodeRequest request;
    FileDescriptor file;
    FileDescriptor memory; // that a large picture may be written into; not open where there is none
};

struct AnswerMessage
{
    quint64 id = 0;
    DecodedPicture picture; // without its pixels
    std::optional<SharedBitmap> pixels; // their memory is not open where it is the one that came with the request
    QSize reducedSize{0, 0}; // of the copy that lies behind them; empty where there is none
};

enum class MessageStatus
{
    Received,
    Closed, // the other side is gone
    Malformed, // cut short, too long, with missing or surplus descriptors, or with values that make no sense
};

// False when the other side is gone or the packet could not be sent. Blocks only for a full socket.
bool sendRequest(int socket, quint64 id, const DecodeRequest& request, int file, int memory = -1);
bool sendAnswer(int socket, const AnswerMessage& answer);

// Blocks until there is a packet. Descriptors of a malformed one are closed.
MessageStatus receiveRequest(int socket, RequestMessage& message);
MessageStatus receiveAnswer(int socket, AnswerMessage& message);

} // namespace frameflow
