#include "Bookmark.h"
#include "SettingsKeys.h"
#include "ShowDriver.h"

#include <QTest>

using namespace frameflow;
using namespace frameflow::e2e;

// The welcome window and the recent folders, used as a person uses them.
class WelcomeTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        mShow = std::make_unique<ShowDriver>();
        mShow->addColour("1.png", mRed);
        mOther = std::make_unique<TestFolder>();
        mShow->addColourTo(*mOther, "2.png", mGreen);
    }
    void cleanup() { mShow.reset(); }

    void aFolderIsOpenedWithTheKeyboard();
    void aFolderIsOpenedFromTheMenu();
    void afterAShowItsFolderIsTheFirst();
    void theLastFolderComesBackAtTheStart();
    void aListThatNobodyCanReadIsNone();

private:
    QVariantList bothFolders() const
    {
        return {bookmarkForFolder(mShow->folder.url()), bookmarkForFolder(mOther->url())};
    }
    bool waitForWelcome() const
    {
        const auto window = mShow->showWindow();
        return window
            && waitFor([&] { return mShow->server().isActive(*window) && !mShow->server().isFullScreen(*window); });
    }

    const QColor mRed{200, 30, 30};
    const QColor mGreen{30, 160, 30};
    std::unique_ptr<TestFolder> mOther;
    std::unique_ptr<ShowDriver> mShow;
};

void WelcomeTest::aFolderIsOpenedWithTheKeyboard()
{
    mShow->set(keys::recentFolderBookmarks, bothFolders());
    QVERIFY(mShow->start({}));
    QVERIFY(waitForWelcome());
    mShow->press(QStringLiteral("Tab"));
    mShow->press(QStringLiteral("Down"));
    mShow->press(QStringLiteral("Return"));
    QVERIFY(mShow->waitForColour(mGreen));
    QCOMPARE(mShow->server().windowsOf(mShow->program().processId()).size(), 1); // the welcome window has gone
}

void WelcomeTest::aFolderIsOpenedFromTheMenu()
{
    mShow->set(keys::recentFolderBookmarks, bothFolders());
    QVERIFY(mShow->start({}));
    QVERIFY(waitForWelcome());
    mShow->press(QStringLiteral("alt+f"));
    mShow->press(QStringLiteral("r"));
    mShow->press(QStringLiteral("Down"));
    mShow->press(QStringLiteral("Return"));
    QVERIFY(mShow->waitForColour(mGreen));
}

void WelcomeTest::afterAShowItsFolderIsTheFirst()
{
    mShow->set(keys::recentFolderBookmarks, QVariantList{bookmarkForFolder(mOther->url())});
    QVERIFY(mShow->startAndRest());
    QVERIFY(mShow->waitForColour(mRed));
    mShow->press(QStringLiteral("Escape"));
    QVERIFY(waitForWelcome());
    mShow->press(QStringLiteral("Tab"));
    mShow->press(QStringLiteral("Return"));
    QVERIFY(mShow->waitForColour(mRed));
}

void WelcomeTest::theLastFolderComesBackAtTheStart()
{
    mShow->set(keys::openLastUsedFolder, true);
    mShow->set(keys::recentFolderBookmarks, bothFolders());
    QVERIFY(mShow->start({}));
    QVERIFY(mShow->waitForColour(mRed));
}

void WelcomeTest::aListThatNobodyCanReadIsNone()
{
    mShow->set(keys::openLastUsedFolder, true);
    mShow->set(keys::recentFolderBookmarks, QVariantList{QByteArray("\0\xff;\n", 4), QStringLiteral("/"), 7});
    QVERIFY(mShow->start({}));
    QVERIFY(waitForWelcome());
}

QTEST_GUILESS_MAIN(WelcomeTest)
#include "WelcomeTest.moc"
