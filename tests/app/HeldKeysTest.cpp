#include "ControllerFixture.h"
#include "HeldPictures.h"
#include "StaysTrue.h"

#include <QApplication>
#include <QTest>

using namespace frameflow;
using namespace std::chrono_literals;

// Keys that are held down, as the keyboard sends them, while slides are being waited for.
class HeldKeysTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { HeldPictures::useDecoder(); }
    void init();
    void cleanup();

    void repeatsAreNotQueued_data();
    void repeatsAreNotQueued();
    void repeatsStepOnWhenTheSlideIsThere_data();
    void repeatsStepOnWhenTheSlideIsThere();
    void pressesAreQueued_data();
    void pressesAreQueued();
    void aPressAfterAHeldKeyIsQueued();
    void aMenusCommandAfterAHeldKeyIsQueued_data();
    void aMenusCommandAfterAHeldKeyIsQueued();

private:
    // A show of 1.png, 2 held.png, 3.png and 4.png that rests on the first; the second is not decoded before release().
    bool open()
    {
        mFixture->addPictures({"1.png", "3.png", "4.png"});
        mHeld->add("2 held.png", Qt::green);
        mFixture->start();
        return mFixture->collectFolder() && QTest::qWaitFor([this] {
            return onScreen() == "1.png" && QApplication::focusWidget() == mFixture->controller().slideView();
        });
    }
    void key(int key, bool isPress, bool isRepeat = false)
    {
        const QString text = key == Qt::Key_Space ? QStringLiteral(" ") : QString();
        QTest::simulateEvent(mFixture->controller().slideView(), isPress, key, Qt::NoModifier, text, isRepeat);
    }
    void press(int code)
    {
        key(code, true);
        key(code, false);
    }
    // As the window system sends it: each time released and pressed again.
    void repeat(int code, int times)
    {
        for (int i = 0; i < times; ++i) {
            key(code, false, true);
            key(code, true, true);
        }
    }
    QByteArray onScreen() const { return mFixture->onScreen(); }

    std::unique_ptr<ControllerFixture> mFixture;
    std::unique_ptr<HeldPictures> mHeld;
};

void HeldKeysTest::init()
{
    mFixture = std::make_unique<ControllerFixture>();
    mHeld = std::make_unique<HeldPictures>(mFixture->folder);
}

void HeldKeysTest::cleanup()
{
    mFixture.reset();
    mHeld.reset();
}

void HeldKeysTest::repeatsAreNotQueued_data()
{
    QTest::addColumn<int>("key");
    QTest::newRow("arrow") << int(Qt::Key_Right);
    QTest::newRow("page down") << int(Qt::Key_PageDown);
    QTest::newRow("space") << int(Qt::Key_Space);
}

void HeldKeysTest::repeatsAreNotQueued()
{
    QFETCH(const int, key);
    QVERIFY(open());
    this->key(key, true);
    QVERIFY(mFixture->controller().isWaitingForSlide());
    repeat(key, 60);
    this->key(key, false);
    mHeld->release("2 held.png");
    QTRY_COMPARE(onScreen(), QByteArray("2 held.png"));
    QVERIFY(staysTrueFor(100ms, [&] { return onScreen() == "2 held.png"; }));
}

void HeldKeysTest::repeatsStepOnWhenTheSlideIsThere_data()
{
    repeatsAreNotQueued_data();
}

void HeldKeysTest::repeatsStepOnWhenTheSlideIsThere()
{
    QFETCH(const int, key);
    QVERIFY(open());
    this->key(key, true);
    repeat(key, 5);
    mHeld->release("2 held.png");
    QTRY_COMPARE(onScreen(), QByteArray("2 held.png"));
    QVERIFY(mFixture->rest());
    repeat(key, 1);
    QCOMPARE(onScreen(), QByteArray("3.png"));
    repeat(key, 1);
    QVERIFY(mFixture->rest());
    QCOMPARE(onScreen(), QByteArray("4.png"));
    this->key(key, false);
    QVERIFY(staysTrueFor(100ms, [&] { return onScreen() == "4.png"; }));
}

void HeldKeysTest::pressesAreQueued_data()
{
    repeatsAreNotQueued_data();
}

void HeldKeysTest::pressesAreQueued()
{
    QFETCH(const int, key);
    QVERIFY(open());
    press(key);
    press(key);
    press(key);
    QVERIFY(mFixture->controller().isWaitingForSlide());
    mHeld->release("2 held.png");
    QTRY_COMPARE(onScreen(), QByteArray("4.png"));
}

void HeldKeysTest::aPressAfterAHeldKeyIsQueued()
{
    QVERIFY(open());
    key(Qt::Key_Right, true);
    repeat(Qt::Key_Right, 10);
    press(Qt::Key_Left); // while the other one is down
    key(Qt::Key_Right, false);
    mHeld->release("2 held.png");
    QTRY_COMPARE(onScreen(), QByteArray("1.png"));
}

void HeldKeysTest::aMenusCommandAfterAHeldKeyIsQueued_data()
{
    QTest::addColumn<bool>("isReleased");
    QTest::newRow("the key is released") << true;
    QTest::newRow("the mouse is used meanwhile") << false;
}

void HeldKeysTest::aMenusCommandAfterAHeldKeyIsQueued()
{
    QFETCH(const bool, isReleased);
    QVERIFY(open());
    key(Qt::Key_Right, true);
    repeat(Qt::Key_Right, 10);
    if (isReleased) {
        key(Qt::Key_Right, false);
    } else {
        QTest::mousePress(mFixture->controller().slideView(), Qt::LeftButton);
    }
    mFixture->controller().mainMenu().action(QStringLiteral("nextSlide"))->trigger();
    mHeld->release("2 held.png");
    QTRY_COMPARE(onScreen(), QByteArray("3.png"));
}

QTEST_MAIN(HeldKeysTest)
#include "HeldKeysTest.moc"
