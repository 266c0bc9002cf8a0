#pragma once

#include "Bytes.h"
#include "DecoderMessages.h"

#include <array>
#include <vector>

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace frameflow::fuzz {

// The two ends of a socket like the one between the program and a decoder.
struct SocketPair
{
    SocketPair()
    {
        std::array<int, 2> ends{};
        require(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) == 0);
        one = FileDescriptor(ends[0]);
        other = FileDescriptor(ends[1]);
    }
    FileDescriptor one;
    FileDescriptor other;
};

// The bytes of a packet that is waiting at a socket, without its descriptors.
inline QByteArray waitingPacket(int socket)
{
    QByteArray bytes(4096, Qt::Uninitialized);
    const ssize_t length = recv(socket, bytes.data(), bytes.size(), 0);
    return bytes.left(std::max<ssize_t>(length, 0));
}

// An honest answer with a picture and a copy of it, as it goes over the socket.
inline QByteArray honestAnswer(quint64 id)
{
    AnswerMessage answer;
    answer.id = id;
    answer.picture.size = QSize(8, 6);
    answer.pixels = SharedBitmap{emptySharedMemory(), {8, 6, 32, QImage::Format_RGB32}};
    answer.reducedSize = QSize(4, 3);
    const SocketPair pair;
    require(sendAnswer(pair.one.number(), answer));
    return waitingPacket(pair.other.number());
}

// An honest packet with some of its numbers replaced, or bytes of any kind.
inline QByteArray dishonest(QByteArray packet, Input& input)
{
    if (input.ConsumeBool()) {
        return restOf(input).left(4096);
    }
    constexpr std::array numbers{0, 1, -1, 2, 3, 8, 90, 360, 0x7fffffff, int(0x80000000), 0x00010000};
    for (int changes = input.ConsumeIntegralInRange(0, 6); changes > 0; --changes) {
        const auto place = input.ConsumeIntegralInRange<qsizetype>(0, packet.size() / 4 - 1) * 4;
        const int number = input.ConsumeBool() ? input.PickValueInArray(numbers) : input.ConsumeIntegral<int>();
        packet.replace(place, 4, reinterpret_cast<const char*>(&number), 4);
    }
    return packet;
}

// Sends a packet with as many descriptors, as somebody who has taken a decoder over can.
inline void sendBare(int socket, const QByteArray& packet, const std::vector<int>& descriptors)
{
    constexpr size_t most = 16;
    alignas(cmsghdr) std::array<char, CMSG_SPACE(most * sizeof(int))> control{};
    iovec part{const_cast<char*>(packet.constData()), size_t(packet.size())}; // NOLINT: it is only read
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    const size_t size = std::min(descriptors.size(), most) * sizeof(int);
    if (size > 0) {
        message.msg_control = control.data();
        message.msg_controllen = CMSG_SPACE(size);
        cmsghdr* const header = CMSG_FIRSTHDR(&message);
        header->cmsg_level = SOL_SOCKET;
        header->cmsg_type = SCM_RIGHTS;
        header->cmsg_len = CMSG_LEN(size);
        std::copy_n(descriptors.data(), size / sizeof(int), reinterpret_cast<int*>(CMSG_DATA(header)));
    }
    static_cast<void>(sendmsg(socket, &message, MSG_NOSIGNAL | MSG_DONTWAIT));
}

// Memory as a decoder may hand it over: of any size, with any seals, or something else altogether.
inline FileDescriptor strangeMemory(Input& input)
{
    switch (input.ConsumeIntegralInRange(0, 9)) {
    case 0:
        return FileDescriptor(open("/dev/null", O_RDWR | O_CLOEXEC));
    case 1:
        return FileDescriptor(open("/proc/self/exe", O_RDONLY | O_CLOEXEC));
    default:
        break;
    }
    FileDescriptor memory = emptySharedMemory();
    require(ftruncate(memory.number(), input.ConsumeIntegralInRange(0, 1 << 16)) == 0);
    constexpr int allSeals = F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE | F_SEAL_SEAL;
    const int seals = input.ConsumeBool() ? allSeals : input.ConsumeIntegralInRange(0, allSeals);
    static_cast<void>(fcntl(memory.number(), F_ADD_SEALS, seals));
    return memory;
}

// Looks at every pixel, as drawing does.
inline void lookAt(const QImage& image)
{
    require(image.isNull() || image.format() == QImage::Format_RGB32
        || image.format() == QImage::Format_ARGB32_Premultiplied);
    require(image == image.copy());
}

} // namespace frameflow::fuzz
