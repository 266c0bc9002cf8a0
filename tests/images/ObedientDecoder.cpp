// A decoder that does to its program what the file tells it: what the tests hand to the pool in the decoders' place.
// Started by a name that ends with "-extra" it is of the other kind. Confined only where the order begins with
// "confined".

#include "Confinement.h"
#include "DecoderMessages.h"
#include "SharedBitmap.h"
#include "WaitingForFiles.h"

#include <QList>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <iterator>
#include <map>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace frameflow;

namespace {

constexpr int programSocket = 3;
bool isExtra = false;
qint64 memoryLimit = 0;

struct Order
{
    quint64 id = 0;
    DecodeRequest request;
    FileDescriptor memory;
    QList<QByteArray> words; // without the first

    QByteArray word(qsizetype index) const { return words.value(index); }
};

AnswerMessage answerWith(const Order& order, QSize size, QRgb colour)
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(colour);
    AnswerMessage answer;
    answer.id = order.id;
    answer.picture.size = size;
    answer.pixels = sealed(image);
    return answer;
}

AnswerMessage smallAnswer(const Order& order)
{
    return answerWith(order, QSize(4, 3), qRgb(0, 0, 255));
}

void answer(const AnswerMessage& message)
{
    sendAnswer(programSocket, message);
}

void fail(const Order& order, DecodeError error)
{
    AnswerMessage message;
    message.id = order.id;
    message.picture.error = error;
    answer(message);
}

// Reports a number as the file's size.
void report(const Order& order, int number)
{
    AnswerMessage message = smallAnswer(order);
    message.picture.size = QSize(number, 1);
    answer(message);
}

void reportErrno(const Order& order, bool succeeded)
{
    report(order, 1 + (succeeded ? 0 : errno));
}

// Adds a line.
void note(const QByteArray& path, const QByteArray& text)
{
    const FileDescriptor notes(open(path.constData(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600));
    const QByteArray line = text + '\n';
    static_cast<void>(!write(notes.number(), line.constData(), line.size()));
}

void noteProcess(const QByteArray& path)
{
    note(path, QByteArray::number(getpid()));
}

std::chrono::milliseconds processorTime()
{
    return std::chrono::milliseconds(std::clock() / (CLOCKS_PER_SEC / 1000));
}

void spinFor(std::chrono::milliseconds span)
{
    const auto end = processorTime() + span;
    while (processorTime() < end) { }
}

// ---- Orders

void picture(const Order& order)
{
    const QSize size(order.word(0).toInt(), order.word(1).toInt());
    answer(answerWith(order, size, QRgb(order.word(2).toUInt(nullptr, 16)) | 0xff000000));
}

// Says which process it is.
void number(const Order& order)
{
    report(order, getpid());
}

void extra(const Order& order)
{
    if (isExtra) {
        number(order);
    } else {
        fail(order, DecodeError::NeedsExtraDecoders);
    }
}

void neverEnough(const Order& order)
{
    fail(order, DecodeError::NeedsExtraDecoders);
}

void damaged(const Order& order)
{
    fail(order, DecodeError::Damaged);
}

void crash(const Order& /*order*/)
{
    std::signal(SIGSEGV, SIG_DFL);
    std::raise(SIGSEGV);
}

void noteName(const Order& order)
{
    note(order.word(0), order.request.fileName);
    number(order);
}

void crashNoted(const Order& order)
{
    noteProcess(order.word(0));
    std::raise(SIGKILL);
}

void hang(const Order& /*order*/)
{
    spinFor(std::chrono::hours(1));
}

void hangNoted(const Order& order)
{
    noteProcess(order.word(0));
    hang(order);
}

void sleepForEver(const Order& /*order*/)
{
    while (true) {
        pause();
    }
}

// Until the limit, or until a kernel would look for a process to kill.
void eat(const Order& /*order*/)
{
    constexpr size_t piece = size_t(8) << 20;
    constexpr int mostPieces = 16;
    for (int i = 0; i < mostPieces; ++i) {
        void* const memory
            = mmap(nullptr, piece, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_POPULATE, -1, 0);
        if (memory == MAP_FAILED) {
            break;
        }
    }
    std::raise(SIGKILL);
}

// So many megabytes at once.
void allocate(const Order& order)
{
    const size_t length = size_t(order.word(0).toUInt()) << 20;
    void* const memory = mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    reportErrno(order, memory != MAP_FAILED);
}

// In a file in memory, which is no part of the address space.
void allocateInAFile(const Order& order)
{
    const FileDescriptor memory = emptySharedMemory();
    reportErrno(order, ftruncate(memory.number(), off_t(order.word(0).toUInt()) << 20) == 0);
}

void openMany(const Order& order)
{
    std::vector<FileDescriptor> all(order.word(0).toUInt());
    for (FileDescriptor& one : all) {
        one = emptySharedMemory();
    }
    const bool succeeded = all.back().isOpen();
    const int error = errno;
    all.clear(); // an answer needs one
    errno = error;
    reportErrno(order, succeeded);
}

void spinAwhile(const Order& order)
{
    spinFor(std::chrono::milliseconds(order.word(0).toInt()));
    number(order);
}

// Says that it has begun, waits until it is let go, and says which process it is.
void gate(const Order& order)
{
    noteProcess(order.word(0) + ".begun");
    waitUntilThere(order.word(0));
    number(order);
}

void openFile(const Order& order)
{
    const FileDescriptor file(open(order.word(0).constData(), O_RDONLY | O_CLOEXEC));
    reportErrno(order, file.isOpen());
}

void writeFile(const Order& order)
{
    const FileDescriptor file(open(order.word(0).constData(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
    reportErrno(order, file.isOpen());
}

void connectOut(const Order& order)
{
    const FileDescriptor line(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!line.isOpen()) {
        reportErrno(order, false);
        return;
    }
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    qstrncpy(address.sun_path, order.word(0).constData(), sizeof(address.sun_path));
    reportErrno(order, connect(line.number(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0);
}

void makeProcess(const Order& order)
{
    const pid_t child = fork();
    if (child == 0) {
        _exit(0);
    }
    const int error = errno;
    if (child > 0) {
        waitpid(child, nullptr, 0);
    }
    errno = error;
    reportErrno(order, child > 0);
}

// A process that outlives its decoder and holds its socket.
void leaveProcess(const Order& order)
{
    if (fork() == 0) {
        waitUntilThere(order.word(0));
        _exit(0);
    }
    std::raise(SIGKILL);
}

void execute(const Order& order)
{
    const QByteArray program = order.word(0);
    execl(program.constData(), program.constData(), nullptr);
    reportErrno(order, false);
}

void wrongSize(const Order& order)
{
    AnswerMessage message = smallAnswer(order);
    message.pixels->layout.height *= 1000;
    answer(message);
}

void tooLarge(const Order& order)
{
    AnswerMessage message = answerWith(order, QSize(order.request.longestSide + 1, 1), 0);
    answer(message);
}

// In the memory that came with the request, in that size.
AnswerMessage answerInMemory(const Order& order, QSize size)
{
    AnswerMessage message;
    message.id = order.id;
    message.picture.size = size;
    message.pixels
        = SharedBitmap{{}, {size.width(), size.height(), qint64(size.width()) * 4, qint32(QImage::Format_RGB32)}};
    return message;
}

void inMemory(const Order& order)
{
    const QSize size(order.word(0).toInt(), order.word(1).toInt());
    QImage image(size, QImage::Format_RGB32);
    image.fill(QRgb(0xff000000U | order.word(2).toUInt(nullptr, 16)));
    static_cast<void>(!writePixels(image, order.memory));
    answer(answerInMemory(order, size));
}

void beyondMemory(const Order& order)
{
    answer(answerInMemory(order, QSize(4000, 3001)));
}

void strangeCopy(const Order& order)
{
    AnswerMessage message = answerInMemory(order, QSize(40, 30));
    message.reducedSize = QSize(4, 4);
    answer(message);
}

void copyBeyondMemory(const Order& order)
{
    AnswerMessage message = answerInMemory(order, QSize(4000, 3000));
    message.reducedSize = QSize(400, 300);
    answer(message);
}

void inMemoryOfNobody(const Order& order)
{
    answer(answerInMemory(order, QSize(4, 3)));
}

// Answers, and writes on.
void inMemoryThatChanges(const Order& order)
{
    answer(answerInMemory(order, QSize(4000, 3000)));
    const QByteArray noise(48'000'000, 'x');
    while (pwrite(order.memory.number(), noise.constData(), noise.size(), 0) > 0) { }
}

void unsealed(const Order& order)
{
    AnswerMessage message = smallAnswer(order);
    message.pixels->memory = FileDescriptor(memfd_create("open", MFD_CLOEXEC | MFD_ALLOW_SEALING));
    static_cast<void>(!ftruncate(message.pixels->memory.number(), 4096));
    answer(message);
}

void shrinkable(const Order& order)
{
    AnswerMessage message = smallAnswer(order);
    message.pixels->memory = FileDescriptor(memfd_create("shrinkable", MFD_CLOEXEC | MFD_ALLOW_SEALING));
    static_cast<void>(!ftruncate(message.pixels->memory.number(), 4096));
    fcntl(message.pixels->memory.number(), F_ADD_SEALS, F_SEAL_WRITE | F_SEAL_GROW | F_SEAL_SEAL);
    answer(message);
}

void wrongId(const Order& order)
{
    AnswerMessage message = smallAnswer(order);
    message.id += 1;
    answer(message);
}

void twice(const Order& order)
{
    const AnswerMessage message = smallAnswer(order);
    answer(message);
    answer(message);
}

// The bytes of an answer, as they go over the socket.
QByteArray packetOf(const AnswerMessage& message)
{
    int ends[2] = {-1, -1};
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) {
        return {};
    }
    const FileDescriptor in(ends[0]);
    const FileDescriptor out(ends[1]);
    sendAnswer(in.number(), message);
    QByteArray bytes(4096, Qt::Uninitialized);
    bytes.truncate(std::max<ssize_t>(0, recv(out.number(), bytes.data(), bytes.size(), 0)));
    return bytes;
}

void sendPacket(QByteArray bytes, const std::vector<int>& descriptors)
{
    iovec part{bytes.data(), static_cast<size_t>(bytes.size())};
    alignas(cmsghdr) std::array<char, CMSG_SPACE(2 * sizeof(int))> control = {};
    msghdr message = {};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    if (!descriptors.empty()) {
        message.msg_control = control.data();
        message.msg_controllen = CMSG_SPACE(descriptors.size() * sizeof(int));
        cmsghdr* const header = CMSG_FIRSTHDR(&message);
        header->cmsg_level = SOL_SOCKET;
        header->cmsg_type = SCM_RIGHTS;
        header->cmsg_len = CMSG_LEN(descriptors.size() * sizeof(int));
        std::memcpy(CMSG_DATA(header), descriptors.data(), descriptors.size() * sizeof(int));
    }
    sendmsg(programSocket, &message, MSG_NOSIGNAL);
}

void half(const Order& order)
{
    const AnswerMessage message = smallAnswer(order);
    const QByteArray packet = packetOf(message);
    sendPacket(packet.left(packet.size() / 2), {message.pixels->memory.number()});
}

void tooLong(const Order& order)
{
    const AnswerMessage message = smallAnswer(order);
    sendPacket(packetOf(message) + QByteArray(100'000, 'x'), {message.pixels->memory.number()});
}

void twoDescriptors(const Order& order)
{
    const AnswerMessage message = smallAnswer(order);
    const int memory = message.pixels->memory.number();
    sendPacket(packetOf(message), {memory, memory});
}

void noDescriptor(const Order& order)
{
    sendPacket(packetOf(smallAnswer(order)), {});
}

void nothing(const Order& /*order*/)
{
    std::_Exit(0);
}

void hangUp(const Order& /*order*/)
{
    close(programSocket);
    sleepForEver({});
}

void ownWord(const Order& order)
{
    AnswerMessage message;
    message.id = order.id;
    message.picture.error = DecodeError::Cancelled;
    answer(message);
}

using Action = void (*)(const Order&);

const std::map<QByteArray, Action>& actions()
{
    static const std::map<QByteArray, Action> table{{"picture", picture}, {"number", number}, {"note-name", noteName},
        {"extra", extra}, {"never-enough", neverEnough}, {"damaged", damaged}, {"crash", crash},
        {"crash-noted", crashNoted}, {"hang", hang}, {"hang-noted", hangNoted}, {"sleep", sleepForEver}, {"eat", eat},
        {"allocate", allocate}, {"allocate-in-a-file", allocateInAFile}, {"open-many", openMany}, {"spin", spinAwhile},
        {"gate", gate}, {"open", openFile}, {"write", writeFile}, {"connect", connectOut}, {"fork", makeProcess},
        {"leave-process", leaveProcess}, {"exec", execute}, {"wrong-size", wrongSize}, {"too-large", tooLarge},
        {"unsealed", unsealed}, {"shrinkable", shrinkable}, {"wrong-id", wrongId}, {"twice", twice}, {"half", half},
        {"too-long", tooLong}, {"two-descriptors", twoDescriptors}, {"no-descriptor", noDescriptor},
        {"nothing", nothing}, {"hang-up", hangUp}, {"own-word", ownWord}, {"in-memory", inMemory},
        {"beyond-memory", beyondMemory}, {"strange-copy", strangeCopy}, {"copy-beyond-memory", copyBeyondMemory},
        {"in-memory-of-nobody", inMemoryOfNobody}, {"in-memory-that-changes", inMemoryThatChanges}};
    return table;
}

void obey(RequestMessage& message)
{
    DecodeError error = DecodeError::None;
    const auto contents = readContents(message.file.number(), &error);
    Order order{message.id, message.request, std::move(message.memory),
        contents.value_or(QByteArray()).simplified().split(' ')};
    if (order.words.first() == "confined") {
        order.words.removeFirst();
        confine(memoryLimit);
    }
    const auto action = actions().find(order.words.value(0));
    order.words.removeFirst();
    if (action == actions().end()) {
        fail(order, contents ? DecodeError::NotAPicture : error);
    } else {
        action->second(order);
    }
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 4 || QByteArray(argv[3]).toInt() != getppid()) {
        return 2;
    }
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    memoryLimit = QByteArray(argv[1]).toLongLong();
    isExtra = QByteArray(argv[0]).endsWith("-extra");
    RequestMessage message;
    while (receiveRequest(programSocket, message) == MessageStatus::Received) {
        obey(message);
        message.file = FileDescriptor();
    }
    return 0;
}
