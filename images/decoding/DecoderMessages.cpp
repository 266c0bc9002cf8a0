#include "DecoderMessages.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <vector>

#include <sys/socket.h>
#include <sys/uio.h>

namespace frameflow {

namespace {

constexpr qsizetype longestName = 255;

// As they go over the socket, between programs of one build.
struct RequestPacket
{
    quint64 id;
    double viewWidth; // of the frame
    double viewHeight;
    double pixelsPerPoint;
    qint32 fitMode;
    qint32 wanted;
    qint32 longestSide;
    qint32 turn;
    qint32 isHeld;
    qint32 hasMemory;
    qint32 nameLength;
    std::array<char, longestName> name;
};
constexpr size_t requestHead = offsetof(RequestPacket, name);

struct AnswerPacket
{
    quint64 id;
    qint64 bytesPerLine;
    double seconds;
    qint32 error;
    qint32 width;
    qint32 height;
    qint32 orientation;
    qint32 pixels; // their Place
    qint32 bitmapWidth;
    qint32 bitmapHeight;
    qint32 format;
    qint32 reducedWidth; // 0 where there is no reduced copy
    qint32 reducedHeight;
    qint32 hasMovie;
    qint32 movieWidth;
    qint32 movieHeight;
    qint32 rotation;
    qint32 isMirrored;
    qint32 hasVideo;
    qint32 hasAudio;
    qint32 hasCover;
};

// Where the pixels of an answer lie.
enum Place : qint32
{
    Nowhere,
    InOwnMemory,
    InGivenMemory,
};

using Descriptors = std::vector<FileDescriptor>;

bool isFlag(qint32 value)
{
    return value == 0 || value == 1;
}

constexpr size_t mostDescriptorsSent = 2;

// Those descriptors that are none are left out.
bool send(int socket, const void* bytes, size_t length, std::array<int, mostDescriptorsSent> descriptors)
{
    const auto end = std::remove_if(descriptors.begin(), descriptors.end(), [](int one) { return one < 0; });
    const size_t size = (end - descriptors.begin()) * sizeof(int);
    iovec part{const_cast<void*>(bytes), length}; // NOLINT(cppcoreguidelines-pro-type-const-cast): it is only read
    alignas(cmsghdr) std::array<char, CMSG_SPACE(mostDescriptorsSent * sizeof(int))> control = {};
    msghdr message = {};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    if (size > 0) {
        message.msg_control = control.data();
        message.msg_controllen = CMSG_SPACE(size);
        cmsghdr* const header = CMSG_FIRSTHDR(&message);
        header->cmsg_level = SOL_SOCKET;
        header->cmsg_type = SCM_RIGHTS;
        header->cmsg_len = CMSG_LEN(size);
        std::memcpy(CMSG_DATA(header), descriptors.data(), size);
    }
    ssize_t sent = -1;
    do {
        sent = sendmsg(socket, &message, MSG_NOSIGNAL);
    } while (sent < 0 && errno == EINTR);
    return sent == ssize_t(length);
}

// All descriptors that came along; whoever does not take them over closes them.
Descriptors descriptorsOf(msghdr& message)
{
    Descriptors descriptors;
    for (cmsghdr* header = CMSG_FIRSTHDR(&message); header != nullptr; header = CMSG_NXTHDR(&message, header)) {
        if (header->cmsg_level != SOL_SOCKET || header->cmsg_type != SCM_RIGHTS) {
            continue;
        }
        const size_t count = (header->cmsg_len - CMSG_LEN(0)) / sizeof(int);
        for (size_t i = 0; i < count; ++i) {
            int descriptor = -1;
            std::memcpy(&descriptor, CMSG_DATA(header) + i * sizeof(int), sizeof(int));
            descriptors.emplace_back(descriptor);
        }
    }
    return descriptors;
}

// One packet of at most that length, and its descriptors.
MessageStatus receive(int socket, void* bytes, size_t mostBytes, size_t* length, Descriptors* descriptors)
{
    iovec part{bytes, mostBytes};
    // Room for more than are allowed, so that surplus ones are seen; further ones the kernel drops, and says so.
    constexpr size_t mostDescriptors = 8;
    alignas(cmsghdr) std::array<char, CMSG_SPACE(mostDescriptors * sizeof(int))> control = {};
    msghdr message = {};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    ssize_t received = -1;
    do {
        received = recvmsg(socket, &message, MSG_CMSG_CLOEXEC);
    } while (received < 0 && errno == EINTR);
    if (received < 0) {
        return MessageStatus::Closed;
    }
    *descriptors = descriptorsOf(message);
    if (received == 0 && descriptors->empty()) {
        return MessageStatus::Closed;
    }
    if ((message.msg_flags & (MSG_TRUNC | MSG_CTRUNC)) != 0) {
        return MessageStatus::Malformed;
    }
    *length = static_cast<size_t>(received);
    return MessageStatus::Received;
}

bool frameMakesSense(const RequestPacket& packet)
{
    return std::isfinite(packet.viewWidth) && std::isfinite(packet.viewHeight) && std::isfinite(packet.pixelsPerPoint)
        && packet.pixelsPerPoint > 0 && packet.fitMode >= qint32(FitMode::Shrink)
        && packet.fitMode <= qint32(FitMode::Stretch);
}

bool makesSense(const RequestPacket& packet, size_t length, size_t descriptors)
{
    return length >= requestHead && packet.nameLength >= 0 && packet.nameLength <= longestName
        && length == requestHead + packet.nameLength && packet.longestSide >= 0
        && packet.wanted >= qint32(Wanted::Picture) && packet.wanted <= qint32(Wanted::MovieProbe)
        && (packet.turn == qint32(Turn::AsStored) || packet.turn == qint32(Turn::Upright)) && isFlag(packet.hasMemory)
        && isFlag(packet.isHeld) && frameMakesSense(packet) && descriptors == 1 + size_t(packet.hasMemory);
}

// What a decoder may say of a file; the other errors are found by its client.
bool isDecodersError(qint32 error)
{
    constexpr std::array errors{DecodeError::None, DecodeError::Unreadable, DecodeError::NotAPicture,
        DecodeError::Damaged, DecodeError::TooLarge, DecodeError::NeedsExtraDecoders, DecodeError::NoThumbnail};
    return std::any_of(errors.begin(), errors.end(), [&](DecodeError known) { return qint32(known) == error; });
}

bool movieMakesSense(const AnswerPacket& packet)
{
    const bool hasSize = packet.movieWidth > 0 && packet.movieHeight > 0;
    const bool hasNoSize = packet.movieWidth <= 0 && packet.movieHeight <= 0;
    return isFlag(packet.hasVideo) && isFlag(packet.hasAudio) && isFlag(packet.hasCover) && isFlag(packet.isMirrored)
        && (hasSize || hasNoSize) && packet.rotation >= 0 && packet.rotation < 360 && packet.rotation % 90 == 0
        && std::isfinite(packet.seconds) && packet.seconds >= 0;
}

bool makesSense(const AnswerPacket& packet, size_t length, size_t descriptors)
{
    if (length != sizeof(AnswerPacket) || !isDecodersError(packet.error) || packet.pixels < Nowhere
        || packet.pixels > InGivenMemory || !isFlag(packet.hasMovie)
        || descriptors != (packet.pixels == InOwnMemory ? 1 : 0)) {
        return false;
    }
    if (packet.error != qint32(DecodeError::None)) {
        return packet.pixels == Nowhere && packet.hasMovie == 0;
    }
    const bool hasSize = packet.width > 0 && packet.height > 0;
    const bool hasReduced = packet.reducedWidth != 0 || packet.reducedHeight != 0;
    if (hasReduced && (packet.pixels == Nowhere || packet.reducedWidth <= 0 || packet.reducedHeight <= 0)) {
        return false;
    }
    return (packet.pixels != Nowhere ? hasSize : packet.hasMovie == 1) && packet.orientation >= 1
        && packet.orientation <= 8 && (packet.hasMovie == 0 || movieMakesSense(packet));
}

} // namespace

bool sendRequest(int socket, quint64 id, const DecodeRequest& request, int file, int memory)
{
    RequestPacket packet = {};
    packet.id = id;
    packet.wanted = qint32(request.wanted);
    packet.longestSide = request.longestSide;
    packet.turn = qint32(request.turn);
    packet.isHeld = request.isHeld ? 1 : 0;
    packet.viewWidth = request.frame.view.width();
    packet.viewHeight = request.frame.view.height();
    packet.pixelsPerPoint = request.frame.pixelsPerPoint;
    packet.fitMode = qint32(request.frame.mode);
    // Of a longer name the end counts: the suffix stands there.
    const QByteArray name = request.fileName.right(longestName);
    packet.hasMemory = memory >= 0 ? 1 : 0;
    packet.nameLength = qint32(name.size());
    std::copy(name.begin(), name.end(), packet.name.begin());
    return file >= 0 && send(socket, &packet, requestHead + name.size(), {file, memory});
}

bool sendAnswer(int socket, const AnswerMessage& answer)
{
    AnswerPacket packet = {};
    packet.id = answer.id;
    packet.error = qint32(answer.picture.error);
    packet.width = answer.picture.size.width();
    packet.height = answer.picture.size.height();
    packet.orientation = answer.picture.orientation;
    if (answer.pixels) {
        const BitmapLayout& layout = answer.pixels->layout;
        packet.pixels = answer.pixels->memory.isOpen() ? InOwnMemory : InGivenMemory;
        packet.bitmapWidth = layout.width;
        packet.bitmapHeight = layout.height;
        packet.bytesPerLine = layout.bytesPerLine;
        packet.format = layout.format;
        packet.reducedWidth = answer.reducedSize.width();
        packet.reducedHeight = answer.reducedSize.height();
    }
    if (answer.picture.movie) {
        const MovieFacts& movie = *answer.picture.movie;
        packet.hasMovie = 1;
        packet.movieWidth = movie.size.width();
        packet.movieHeight = movie.size.height();
        packet.rotation = movie.rotation;
        packet.isMirrored = movie.isMirrored ? 1 : 0;
        packet.seconds = movie.seconds;
        packet.hasVideo = movie.hasVideo ? 1 : 0;
        packet.hasAudio = movie.hasAudio ? 1 : 0;
        packet.hasCover = movie.hasCover ? 1 : 0;
    }
    return send(socket, &packet, sizeof(packet), {answer.pixels ? answer.pixels->memory.number() : -1, -1});
}

MessageStatus receiveRequest(int socket, RequestMessage& message)
{
    RequestPacket packet = {};
    size_t length = 0;
    Descriptors descriptors;
    const MessageStatus status = receive(socket, &packet, sizeof(packet), &length, &descriptors);
    if (status != MessageStatus::Received) {
        return status;
    }
    if (!makesSense(packet, length, descriptors.size())) {
        return MessageStatus::Malformed;
    }
    message.id = packet.id;
    message.request.wanted = Wanted(packet.wanted);
    message.request.fileName = QByteArray(packet.name.data(), packet.nameLength);
    message.request.longestSide = packet.longestSide;
    message.request.turn = Turn(packet.turn);
    message.request.isHeld = packet.isHeld == 1;
    message.request.frame = {{packet.viewWidth, packet.viewHeight}, packet.pixelsPerPoint, FitMode(packet.fitMode)};
    message.file = std::move(descriptors.front());
    message.memory = packet.hasMemory == 1 ? std::move(descriptors.back()) : FileDescriptor();
    return status;
}

MessageStatus receiveAnswer(int socket, AnswerMessage& message)
{
    AnswerPacket packet = {};
    size_t length = 0;
    Descriptors descriptors;
    const MessageStatus status = receive(socket, &packet, sizeof(packet), &length, &descriptors);
    if (status != MessageStatus::Received) {
        return status;
    }
    if (!makesSense(packet, length, descriptors.size())) {
        return MessageStatus::Malformed;
    }
    message = {};
    message.id = packet.id;
    message.picture.error = DecodeError(packet.error);
    message.picture.size = QSize(packet.width, packet.height);
    message.picture.orientation = packet.orientation;
    if (packet.pixels != Nowhere) {
        message.pixels = SharedBitmap{descriptors.empty() ? FileDescriptor() : std::move(descriptors.front()),
            {packet.bitmapWidth, packet.bitmapHeight, packet.bytesPerLine, packet.format}};
    }
    message.reducedSize = QSize(packet.reducedWidth, packet.reducedHeight);
    if (packet.hasMovie == 1) {
        message.picture.movie = MovieFacts{QSize(packet.movieWidth, packet.movieHeight), packet.rotation,
            packet.isMirrored == 1, packet.seconds, packet.hasVideo == 1, packet.hasAudio == 1, packet.hasCover == 1};
    }
    return status;
}

} // namespace frameflow
