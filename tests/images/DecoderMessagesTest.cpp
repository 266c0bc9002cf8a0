#include "DecoderMessages.h"

#include "PictureFiles.h"

#include <QDir>
#include <QTest>

#include <array>
#include <cstring>
#include <functional>
#include <limits>
#include <vector>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace frameflow;

namespace {

struct SocketPair
{
    SocketPair()
    {
        std::array<int, 2> ends{-1, -1};
        if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0) {
            qFatal("no sockets to test with");
        }
        near = FileDescriptor(ends[0]);
        far = FileDescriptor(ends[1]);
    }

    FileDescriptor near;
    FileDescriptor far;
};

FileDescriptor someFile()
{
    return FileDescriptor(memfd_create("test", MFD_CLOEXEC));
}

int openDescriptors()
{
    return int(QDir(QStringLiteral("/proc/self/fd")).entryList(QDir::Files | QDir::System).size());
}

// Sends bytes as they are, with copies of a descriptor.
void sendRaw(int socket, const QByteArray& bytes, int descriptor, size_t copies)
{
    QByteArray payload = bytes;
    iovec part{payload.data(), size_t(payload.size())};
    const std::vector<int> descriptors(copies, descriptor);
    std::vector<char> control(CMSG_SPACE(copies * sizeof(int)));
    msghdr message = {};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    if (copies > 0) {
        message.msg_control = control.data();
        message.msg_controllen = control.size();
        cmsghdr* const header = CMSG_FIRSTHDR(&message);
        header->cmsg_level = SOL_SOCKET;
        header->cmsg_type = SCM_RIGHTS;
        header->cmsg_len = CMSG_LEN(copies * sizeof(int));
        std::memcpy(CMSG_DATA(header), descriptors.data(), copies * sizeof(int));
    }
    if (sendmsg(socket, &message, MSG_NOSIGNAL) != payload.size()) {
        qFatal("a packet could not be sent");
    }
}

// The bytes of the packet that lies in the socket; its descriptors are dropped.
QByteArray rawPacket(int socket)
{
    QByteArray bytes(4096, '\0');
    bytes.truncate(recv(socket, bytes.data(), bytes.size(), 0));
    return bytes;
}

QByteArray validRequest()
{
    const SocketPair pair;
    DecodeRequest request;
    request.fileName = "picture.jpg";
    sendRequest(pair.near.number(), 7, request, someFile().number());
    return rawPacket(pair.far.number());
}

AnswerMessage answerWithPixels()
{
    AnswerMessage answer;
    answer.id = 9;
    answer.picture.size = quartersSize;
    answer.pixels = sealed(quartersPicture());
    return answer;
}

AnswerMessage answerWithMovie()
{
    AnswerMessage answer = answerWithPixels();
    MovieFacts movie;
    movie.size = QSize(640, 480);
    movie.seconds = 2.5;
    movie.hasVideo = true;
    answer.picture.movie = movie;
    return answer;
}

QByteArray bytesOf(const AnswerMessage& answer)
{
    const SocketPair pair;
    sendAnswer(pair.near.number(), answer);
    return rawPacket(pair.far.number());
}

template <typename Message, typename Receive>
MessageStatus statusOf(const QByteArray& bytes, size_t descriptors, Receive receive)
{
    const SocketPair pair;
    const auto file = someFile();
    sendRaw(pair.near.number(), bytes, file.number(), descriptors);
    Message message;
    return receive(pair.far.number(), message);
}

MessageStatus requestStatus(const QByteArray& bytes, size_t descriptors)
{
    return statusOf<RequestMessage>(bytes, descriptors, receiveRequest);
}

MessageStatus answerStatus(const QByteArray& bytes, size_t descriptors)
{
    return statusOf<AnswerMessage>(bytes, descriptors, receiveAnswer);
}

template <typename Number>
QByteArray with(QByteArray bytes, qsizetype at, Number value)
{
    std::memcpy(bytes.data() + at, &value, sizeof(value));
    return bytes;
}

// Where a change of the message shows first in its bytes, for a packet in the machine's own order of bytes.
qsizetype firstDifference(const QByteArray& a, const QByteArray& b)
{
    qsizetype at = 0;
    while (at < a.size() && a.at(at) == b.at(at)) {
        ++at;
    }
    return at;
}

} // namespace

Q_DECLARE_METATYPE(std::function<void(frameflow::AnswerMessage&)>)

class DecoderMessagesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void requestsArriveWhole_data();
    void requestsArriveWhole();
    void ofALongNameTheEndArrives();
    void memoryComesWithTheRequest();
    void theFrameArrives();
    void framesThatMakeNoSenseAreRefused_data();
    void framesThatMakeNoSenseAreRefused();
    void answersInGivenMemoryNeedNoDescriptor();
    void copiesHaveASize();
    void answersArriveWhole();
    void answersAboutMoviesArriveWhole();
    void answersAboutSoundNeedNoPixels();
    void errorsArriveAlone_data();
    void errorsArriveAlone();
    void descriptorsAreNotInheritedByPrograms();
    void aClosedSocketIsTold();
    void requestsOfAnotherLengthAreRefused();
    void answersOfAnotherLengthAreRefused();
    void wrongNumbersOfDescriptorsAreRefused();
    void refusedDescriptorsAreClosed();
    void requestsThatMakeNoSenseAreRefused_data();
    void requestsThatMakeNoSenseAreRefused();
    void answersThatMakeNoSenseAreRefused_data();
    void answersThatMakeNoSenseAreRefused();
    void flagsAreYesOrNo();
};

void DecoderMessagesTest::requestsArriveWhole_data()
{
    QTest::addColumn<int>("wanted");
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<int>("longestSide");
    QTest::addColumn<int>("turn");
    QTest::newRow("picture") << int(Wanted::Picture) << QByteArray("a.jpg") << 0 << int(Turn::Upright);
    QTest::newRow("thumbnail") << int(Wanted::Picture) << QByteArray("b.cr2") << 300 << int(Turn::AsStored);
    QTest::newRow("movie frame") << int(Wanted::MovieFrame) << QByteArray("c.mkv") << 300 << int(Turn::Upright);
    QTest::newRow("movie probe") << int(Wanted::MovieProbe) << QByteArray("\xff\0\n", 3) << 0 << int(Turn::Upright);
    QTest::newRow("no name") << int(Wanted::Picture) << QByteArray() << 0 << int(Turn::Upright);
    QTest::newRow("longest name") << int(Wanted::Picture) << QByteArray(255, 'n') << 0 << int(Turn::Upright);
}

void DecoderMessagesTest::requestsArriveWhole()
{
    QFETCH(int, wanted);
    QFETCH(QByteArray, name);
    QFETCH(int, longestSide);
    QFETCH(int, turn);
    const SocketPair pair;
    const auto file = someFile();
    DecodeRequest request{Wanted(wanted), name, longestSide, Turn(turn)};
    request.isHeld = longestSide > 0;
    QVERIFY(sendRequest(pair.near.number(), std::numeric_limits<quint64>::max(), request, file.number()));
    RequestMessage message;
    QCOMPARE(receiveRequest(pair.far.number(), message), MessageStatus::Received);
    QCOMPARE(message.id, std::numeric_limits<quint64>::max());
    QCOMPARE(message.request.wanted, Wanted(wanted));
    QCOMPARE(message.request.fileName, name);
    QCOMPARE(message.request.longestSide, longestSide);
    QCOMPARE(message.request.turn, Turn(turn));
    QCOMPARE(message.request.isHeld, longestSide > 0);
    QCOMPARE(stampOf(message.file)->inode, stampOf(file)->inode);
}

void DecoderMessagesTest::ofALongNameTheEndArrives()
{
    const SocketPair pair;
    DecodeRequest request;
    request.fileName = QByteArray(1000, 'n') + ".jpg";
    QVERIFY(sendRequest(pair.near.number(), 1, request, someFile().number()));
    RequestMessage message;
    QCOMPARE(receiveRequest(pair.far.number(), message), MessageStatus::Received);
    QCOMPARE(message.request.fileName, QByteArray(251, 'n') + ".jpg");
}

void DecoderMessagesTest::memoryComesWithTheRequest()
{
    const SocketPair pair;
    const auto file = someFile();
    const auto memory = someFile();
    QVERIFY(sendRequest(pair.near.number(), 1, {}, file.number(), memory.number()));
    RequestMessage message;
    QCOMPARE(receiveRequest(pair.far.number(), message), MessageStatus::Received);
    QCOMPARE(stampOf(message.file)->inode, stampOf(file)->inode);
    QCOMPARE(stampOf(message.memory)->inode, stampOf(memory)->inode);
    QVERIFY(sendRequest(pair.near.number(), 2, {}, file.number()));
    QCOMPARE(receiveRequest(pair.far.number(), message), MessageStatus::Received);
    QVERIFY(!message.memory.isOpen());
}

void DecoderMessagesTest::theFrameArrives()
{
    const SocketPair pair;
    DecodeRequest request;
    request.frame = {QSizeF(1920.5, 1080.25), 1.5, FitMode::Fill};
    QVERIFY(sendRequest(pair.near.number(), 1, request, someFile().number()));
    RequestMessage message;
    QCOMPARE(receiveRequest(pair.far.number(), message), MessageStatus::Received);
    QVERIFY(message.request.frame == request.frame);
}

void DecoderMessagesTest::framesThatMakeNoSenseAreRefused_data()
{
    const double infinite = std::numeric_limits<double>::infinity();
    const double none = std::numeric_limits<double>::quiet_NaN();
    QTest::addColumn<QSizeF>("view");
    QTest::addColumn<double>("pixelsPerPoint");
    QTest::addColumn<int>("mode");
    QTest::addColumn<bool>("makesSense");
    QTest::newRow("no view is fine") << QSizeF() << 1.0 << int(FitMode::Stretch) << true;
    QTest::newRow("endless width") << QSizeF(infinite, 10) << 1.0 << 0 << false;
    QTest::newRow("height that is no number") << QSizeF(10, none) << 1.0 << 0 << false;
    QTest::newRow("endless pixels") << QSizeF(10, 10) << infinite << 0 << false;
    QTest::newRow("no pixels") << QSizeF(10, 10) << 0.0 << 0 << false;
    QTest::newRow("mode before the first") << QSizeF(10, 10) << 1.0 << -1 << false;
    QTest::newRow("mode behind the last") << QSizeF(10, 10) << 1.0 << int(FitMode::Stretch) + 1 << false;
}

void DecoderMessagesTest::framesThatMakeNoSenseAreRefused()
{
    QFETCH(const QSizeF, view);
    QFETCH(const double, pixelsPerPoint);
    QFETCH(const int, mode);
    QFETCH(const bool, makesSense);
    const SocketPair pair;
    DecodeRequest request;
    request.frame = {view, pixelsPerPoint, FitMode(mode)};
    QVERIFY(sendRequest(pair.near.number(), 1, request, someFile().number()));
    RequestMessage message;
    QCOMPARE(
        receiveRequest(pair.far.number(), message), makesSense ? MessageStatus::Received : MessageStatus::Malformed);
}

void DecoderMessagesTest::answersInGivenMemoryNeedNoDescriptor()
{
    const SocketPair pair;
    AnswerMessage answer = answerWithPixels();
    answer.pixels->memory = FileDescriptor();
    answer.reducedSize = QSize(40, 24);
    QVERIFY(sendAnswer(pair.near.number(), answer));
    AnswerMessage message;
    QCOMPARE(receiveAnswer(pair.far.number(), message), MessageStatus::Received);
    QVERIFY(message.pixels);
    QVERIFY(!message.pixels->memory.isOpen());
    QCOMPARE(message.pixels->layout.width, quartersSize.width());
    QCOMPARE(message.reducedSize, QSize(40, 24));
    QCOMPARE(answerStatus(bytesOf(answer), 1), MessageStatus::Malformed);
}

void DecoderMessagesTest::copiesHaveASize()
{
    AnswerMessage answer = answerWithPixels();
    answer.reducedSize = QSize(40, 24);
    QCOMPARE(answerStatus(bytesOf(answer), 1), MessageStatus::Received);
    answer.pixels->memory = FileDescriptor();
    QCOMPARE(answerStatus(bytesOf(answer), 0), MessageStatus::Received);
    for (const QSize size : {QSize(0, 24), QSize(40, 0), QSize(-40, -24)}) {
        answer.reducedSize = size;
        QCOMPARE(answerStatus(bytesOf(answer), 0), MessageStatus::Malformed);
    }
}

void DecoderMessagesTest::answersArriveWhole()
{
    const SocketPair pair;
    AnswerMessage answer = answerWithPixels();
    answer.picture.size = QSize(8000, 4800);
    answer.picture.orientation = 6;
    QVERIFY(sendAnswer(pair.near.number(), answer));
    AnswerMessage message;
    message.picture.movie = MovieFacts();
    QCOMPARE(receiveAnswer(pair.far.number(), message), MessageStatus::Received);
    QCOMPARE(message.id, quint64(9));
    QCOMPARE(message.picture.error, DecodeError::None);
    QCOMPARE(message.picture.size, QSize(8000, 4800));
    QCOMPARE(message.picture.orientation, 6);
    QVERIFY(!message.picture.movie);
    QVERIFY(message.picture.pixels.isNull());
    QVERIFY(message.pixels);
    QCOMPARE(mapSealed(message.pixels->memory, message.pixels->layout).value(), quartersPicture());
}

void DecoderMessagesTest::answersAboutMoviesArriveWhole()
{
    const SocketPair pair;
    AnswerMessage answer = answerWithPixels();
    answer.picture.movie = MovieFacts{QSize(1920, 1080), 270, true, 12.5, true, false, true};
    QVERIFY(sendAnswer(pair.near.number(), answer));
    AnswerMessage message;
    QCOMPARE(receiveAnswer(pair.far.number(), message), MessageStatus::Received);
    QVERIFY(message.picture.movie);
    QCOMPARE(message.picture.movie->size, QSize(1920, 1080));
    QCOMPARE(message.picture.movie->rotation, 270);
    QVERIFY(message.picture.movie->isMirrored);
    QCOMPARE(message.picture.movie->seconds, 12.5);
    QVERIFY(message.picture.movie->hasVideo);
    QVERIFY(!message.picture.movie->hasAudio);
    QVERIFY(message.picture.movie->hasCover);
}

void DecoderMessagesTest::answersAboutSoundNeedNoPixels()
{
    const SocketPair pair;
    AnswerMessage answer;
    answer.picture.movie = MovieFacts{QSize(), 0, false, 60, false, true, false};
    QVERIFY(sendAnswer(pair.near.number(), answer));
    AnswerMessage message;
    QCOMPARE(receiveAnswer(pair.far.number(), message), MessageStatus::Received);
    QVERIFY(!message.pixels);
    QVERIFY(message.picture.movie);
    QVERIFY(message.picture.movie->size.isEmpty());
    QVERIFY(message.picture.movie->hasAudio);
}

void DecoderMessagesTest::errorsArriveAlone_data()
{
    QTest::addColumn<int>("error");
    QTest::addColumn<bool>("isDecoders");
    QTest::newRow("unreadable") << int(DecodeError::Unreadable) << true;
    QTest::newRow("not a picture") << int(DecodeError::NotAPicture) << true;
    QTest::newRow("damaged") << int(DecodeError::Damaged) << true;
    QTest::newRow("too large") << int(DecodeError::TooLarge) << true;
    QTest::newRow("no thumbnail") << int(DecodeError::NoThumbnail) << true;
    QTest::newRow("needs extra decoders") << int(DecodeError::NeedsExtraDecoders) << true;
    QTest::newRow("only the client finds it lost") << int(DecodeError::DecoderLost) << false;
    QTest::newRow("only the client cancels") << int(DecodeError::Cancelled) << false;
    QTest::newRow("none that there is") << 100 << false;
    QTest::newRow("a negative one") << -1 << false;
    QTest::newRow("none, but without pixels") << int(DecodeError::None) << false;
}

void DecoderMessagesTest::errorsArriveAlone()
{
    QFETCH(int, error);
    QFETCH(bool, isDecoders);
    AnswerMessage answer;
    answer.picture.error = DecodeError(error);
    QCOMPARE(answerStatus(bytesOf(answer), 0), isDecoders ? MessageStatus::Received : MessageStatus::Malformed);
    answer.pixels = sealed(quartersPicture());
    answer.picture.size = quartersSize;
    const auto expected
        = answer.picture.error == DecodeError::None ? MessageStatus::Received : MessageStatus::Malformed;
    QCOMPARE(answerStatus(bytesOf(answer), 1), expected);
}

void DecoderMessagesTest::descriptorsAreNotInheritedByPrograms()
{
    const SocketPair pair;
    QVERIFY(sendRequest(pair.near.number(), 1, {}, someFile().number()));
    RequestMessage message;
    QCOMPARE(receiveRequest(pair.far.number(), message), MessageStatus::Received);
    QVERIFY(fcntl(message.file.number(), F_GETFD) & FD_CLOEXEC);
}

void DecoderMessagesTest::aClosedSocketIsTold()
{
    SocketPair pair;
    QVERIFY(sendRequest(pair.near.number(), 1, {}, someFile().number()));
    {
        const FileDescriptor closing = std::move(pair.near);
    }
    RequestMessage request;
    AnswerMessage answer;
    QCOMPARE(receiveRequest(pair.far.number(), request), MessageStatus::Received);
    QCOMPARE(receiveRequest(pair.far.number(), request), MessageStatus::Closed);
    QCOMPARE(receiveAnswer(pair.far.number(), answer), MessageStatus::Closed);
    // Without a signal that would end this process.
    QVERIFY(!sendRequest(pair.far.number(), 2, {}, someFile().number()));
    QVERIFY(!sendAnswer(pair.far.number(), answerWithPixels()));
    QCOMPARE(receiveRequest(-1, request), MessageStatus::Closed);
}

void DecoderMessagesTest::requestsOfAnotherLengthAreRefused()
{
    const QByteArray valid = validRequest();
    QCOMPARE(requestStatus(valid, 1), MessageStatus::Received);
    for (const qsizetype length : {qsizetype(1), qsizetype(8), valid.size() - 12, valid.size() - 1}) {
        QCOMPARE(requestStatus(valid.left(length), 1), MessageStatus::Malformed);
    }
    for (const qsizetype surplus : {1, 100, 3000}) {
        QCOMPARE(requestStatus(valid + QByteArray(surplus, '\0'), 1), MessageStatus::Malformed);
    }
    QCOMPARE(requestStatus(QByteArray(100'000, '\0'), 1), MessageStatus::Malformed);
    QCOMPARE(requestStatus(QByteArray(), 1), MessageStatus::Malformed);
}

void DecoderMessagesTest::answersOfAnotherLengthAreRefused()
{
    const QByteArray valid = bytesOf(answerWithPixels());
    QCOMPARE(answerStatus(valid, 1), MessageStatus::Received);
    for (const qsizetype length : {qsizetype(1), qsizetype(8), valid.size() - 1}) {
        QCOMPARE(answerStatus(valid.left(length), 1), MessageStatus::Malformed);
    }
    for (const qsizetype surplus : {1, 100, 100'000}) {
        QCOMPARE(answerStatus(valid + QByteArray(surplus, '\0'), 1), MessageStatus::Malformed);
    }
}

void DecoderMessagesTest::wrongNumbersOfDescriptorsAreRefused()
{
    AnswerMessage damaged;
    damaged.picture.error = DecodeError::Damaged;
    for (const size_t surplus : {2, 3, 8, 9, 100}) {
        QCOMPARE(requestStatus(validRequest(), surplus), MessageStatus::Malformed);
        QCOMPARE(answerStatus(bytesOf(answerWithPixels()), surplus), MessageStatus::Malformed);
    }
    QCOMPARE(requestStatus(validRequest(), 0), MessageStatus::Malformed);
    QCOMPARE(answerStatus(bytesOf(answerWithPixels()), 0), MessageStatus::Malformed);
    QCOMPARE(answerStatus(bytesOf(damaged), 0), MessageStatus::Received);
    QCOMPARE(answerStatus(bytesOf(damaged), 1), MessageStatus::Malformed);
}

void DecoderMessagesTest::refusedDescriptorsAreClosed()
{
    const QByteArray request = validRequest();
    const QByteArray answer = bytesOf(answerWithPixels());
    const int before = openDescriptors();
    for (const size_t count : {1, 2, 8, 9, 100}) {
        requestStatus(request, count);
        requestStatus(QByteArray(1, 'x'), count);
        requestStatus(QByteArray(5000, 'x'), count);
        requestStatus(QByteArray(), count);
        answerStatus(answer, count);
        answerStatus(QByteArray(5000, 'x'), count);
    }
    QCOMPARE(openDescriptors(), before);
}

void DecoderMessagesTest::requestsThatMakeNoSenseAreRefused_data()
{
    QTest::addColumn<int>("wanted");
    QTest::addColumn<int>("longestSide");
    QTest::addColumn<int>("turn");
    QTest::newRow("nothing that can be wanted") << 3 << 0 << 0;
    QTest::newRow("less than anything that can be wanted") << -1 << 0 << 0;
    QTest::newRow("a negative side") << 0 << -1 << 0;
    QTest::newRow("no turn that there is") << 0 << 0 << 2;
    QTest::newRow("a negative turn") << 0 << 0 << -1;
}

void DecoderMessagesTest::requestsThatMakeNoSenseAreRefused()
{
    QFETCH(int, wanted);
    QFETCH(int, longestSide);
    QFETCH(int, turn);
    const SocketPair pair;
    const DecodeRequest request{Wanted(wanted), "a.jpg", longestSide, Turn(turn)};
    QVERIFY(sendRequest(pair.near.number(), 1, request, someFile().number()));
    RequestMessage message;
    QCOMPARE(receiveRequest(pair.far.number(), message), MessageStatus::Malformed);
    QVERIFY(!message.file.isOpen());
    QVERIFY(!sendRequest(pair.near.number(), 1, {}, -1));
    // A length of the name that is not the packet's.
    const QByteArray named = validRequest();
    const qsizetype lengthAt = named.indexOf("picture.jpg") - qsizetype(sizeof(qint32));
    for (const qint32 length : {10, 12, 255, 256, -1, std::numeric_limits<qint32>::max()}) {
        QCOMPARE(requestStatus(with(named, lengthAt, length), 1), MessageStatus::Malformed);
    }
}

void DecoderMessagesTest::answersThatMakeNoSenseAreRefused_data()
{
    QTest::addColumn<std::function<void(AnswerMessage&)>>("change");
    const auto add
        = [](const char* name, const std::function<void(AnswerMessage&)>& change) { QTest::newRow(name) << change; };
    const double endless = std::numeric_limits<double>::infinity();
    const double noNumber = std::numeric_limits<double>::quiet_NaN();
    add("no width", [](AnswerMessage& a) { a.picture.size.setWidth(0); });
    add("a negative height", [](AnswerMessage& a) { a.picture.size.setHeight(-1); });
    add("orientation 0", [](AnswerMessage& a) { a.picture.orientation = 0; });
    add("orientation 9", [](AnswerMessage& a) { a.picture.orientation = 9; });
    add("a turn by no quarter", [](AnswerMessage& a) { a.picture.movie->rotation = 45; });
    add("a turn backwards", [](AnswerMessage& a) { a.picture.movie->rotation = -90; });
    add("a whole turn", [](AnswerMessage& a) { a.picture.movie->rotation = 360; });
    add("a negative time", [](AnswerMessage& a) { a.picture.movie->seconds = -1; });
    add("a time without end", [endless](AnswerMessage& a) { a.picture.movie->seconds = endless; });
    add("no time at all", [noNumber](AnswerMessage& a) { a.picture.movie->seconds = noNumber; });
    add("a movie of half a size", [](AnswerMessage& a) { a.picture.movie->size = QSize(640, 0); });
    add("a movie of the other half", [](AnswerMessage& a) { a.picture.movie->size = QSize(-1, 480); });
}

void DecoderMessagesTest::answersThatMakeNoSenseAreRefused()
{
    using Change = std::function<void(AnswerMessage&)>;
    QFETCH(Change, change);
    AnswerMessage answer = answerWithMovie();
    const QByteArray valid = bytesOf(answer);
    QCOMPARE(answerStatus(valid, 1), MessageStatus::Received);
    change(answer);
    const QByteArray changed = bytesOf(answer);
    QVERIFY(firstDifference(valid, changed) < valid.size());
    QCOMPARE(answerStatus(changed, 1), MessageStatus::Malformed);
}

void DecoderMessagesTest::flagsAreYesOrNo()
{
    const QByteArray valid = bytesOf(answerWithMovie());
    const std::vector<std::function<void(AnswerMessage&)>> flips{
        [](AnswerMessage& a) { a.picture.movie->hasVideo = false; },
        [](AnswerMessage& a) { a.picture.movie->hasAudio = true; },
        [](AnswerMessage& a) { a.picture.movie->hasCover = true; },
    };
    for (const auto& flip : flips) {
        AnswerMessage answer = answerWithMovie();
        flip(answer);
        const qsizetype at = firstDifference(valid, bytesOf(answer));
        QVERIFY(at + qsizetype(sizeof(qint32)) <= valid.size());
        QCOMPARE(answerStatus(with(valid, at, qint32(1)), 1), MessageStatus::Received);
        QCOMPARE(answerStatus(with(valid, at, qint32(2)), 1), MessageStatus::Malformed);
        QCOMPARE(answerStatus(with(valid, at, qint32(-1)), 1), MessageStatus::Malformed);
    }
}

QTEST_GUILESS_MAIN(DecoderMessagesTest)
#include "DecoderMessagesTest.moc"
