#include "SettingsKeys.h"

#include "PropertyList.h"
#include "TestFiles.h"
#include "UserDefaults.h"

#include <QFile>
#include <QMap>
#include <QSet>
#include <QTest>

namespace frameflow {

namespace {

// Every key by the name under which users' files have it.
const QMap<QString, QString>& keysByName()
{
    static const QMap<QString, QString> all{
        {QStringLiteral("slideInterval"), keys::slideInterval},
        {QStringLiteral("sort"), keys::sort},
        {QStringLiteral("EndMode"), keys::endMode},
        {QStringLiteral("transition"), keys::transition},
        {QStringLiteral("cursor"), keys::cursor},
        {QStringLiteral("ImageFitMode"), keys::imageFitMode},
        {QStringLiteral("MaxFolderLevel"), keys::maxFolderLevel},
        {QStringLiteral("showNewItemsASAP"), keys::showNewItemsASAP},
        {QStringLiteral("autoStart"), keys::autoStart},
        {QStringLiteral("ShowAdds"), keys::showAdds},
        {QStringLiteral("AddInterval"), keys::addInterval},
        {QStringLiteral("KLAddFolder"), keys::addFolder},
        {QStringLiteral("showFilePath"), keys::showFilePath},
        {QStringLiteral("showFileName"), keys::showFileName},
        {QStringLiteral("ImageEditorPath"), keys::imageEditorPath},
        {QStringLiteral("MovieEditorPath"), keys::movieEditorPath},
        {QStringLiteral("RecentFolderBookmarks"), keys::recentFolderBookmarks},
        {QStringLiteral("lastUsedOpenDirectory"), keys::lastUsedOpenDirectory},
        {QStringLiteral("OpenLastUsedFolder"), keys::openLastUsedFolder},
        {QStringLiteral("ShowWelcome"), keys::showWelcome},
        {QStringLiteral("HintsShown"), keys::hintsShown},
        {QStringLiteral("KLScreenRectFrameTHING"), keys::screenRectFrame},
        {QStringLiteral("KLGridWindowRect"), keys::gridWindowRect},
        {QStringLiteral("AutoCheckNewVersion"), keys::autoCheckNewVersion},
        {QStringLiteral("lastUpdateChecked"), keys::lastUpdateChecked},
        {QStringLiteral("IgnoreVersion"), keys::ignoreVersion},
        {QStringLiteral("NSNavLastRootDirectory"), keys::navLastRootDirectory},
    };
    return all;
}

} // namespace

class SettingsKeysTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        QFile file(QStringLiteral(":/frameflow/UserDefaults.plist"));
        QVERIFY(file.open(QIODevice::ReadOnly));
        const auto read = readPropertyList(file.readAll());
        QVERIFY(read.has_value());
        mRegistered = read->toMap();
        mDefaults = std::make_unique<UserDefaults>(QString::fromUtf8(mFolder.pathOf("frameflow.conf")));
        mDefaults->registerDefaults(mRegistered);
    }

    void keysHaveTheirNames();
    void enumeratedValuesHaveTheirNames();
    void onlyKnownKeysAreRegistered();
    void registeredValueIsSensible_data();
    void registeredValueIsSensible();
    void registeredNumbersAreSensible();
    void switchesThatMustBeOnAreOn_data();
    void switchesThatMustBeOnAreOn();

private:
    const TestFolder mFolder;
    QVariantMap mRegistered;
    std::unique_ptr<UserDefaults> mDefaults;
};

void SettingsKeysTest::keysHaveTheirNames()
{
    for (auto key = keysByName().begin(); key != keysByName().end(); ++key) {
        QCOMPARE(key.value(), key.key());
    }
}

void SettingsKeysTest::enumeratedValuesHaveTheirNames()
{
    QCOMPARE((QStringList{keys::sortByName, keys::sortByUrl, keys::sortByDate, keys::sortRandom}),
        (QStringList{QStringLiteral("name"), QStringLiteral("url"), QStringLiteral("date"), QStringLiteral("random")}));
    QCOMPARE((QStringList{keys::endModeWait, keys::endModeRewind, keys::endModeClose}),
        (QStringList{QStringLiteral("EndModeWait"), QStringLiteral("EndModeRewind"), QStringLiteral("EndModeClose")}));
    QCOMPARE((QStringList{keys::fitModeFit, keys::fitModeZoom, keys::fitModeFill, keys::fitModeStretch}),
        (QStringList{QStringLiteral("FitModeFit"), QStringLiteral("FitModeZoom"), QStringLiteral("FitModeFill"),
            QStringLiteral("FitModeStretch")}));
}

void SettingsKeysTest::onlyKnownKeysAreRegistered()
{
    for (auto value = mRegistered.begin(); value != mRegistered.end(); ++value) {
        QVERIFY2(keysByName().contains(value.key()), qPrintable(value.key()));
    }
}

void SettingsKeysTest::registeredValueIsSensible_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QStringList>("values");
    QTest::newRow("sort") << keys::sort
                          << QStringList{keys::sortByName, keys::sortByUrl, keys::sortByDate, keys::sortRandom};
    QTest::newRow("end") << keys::endMode << QStringList{keys::endModeWait, keys::endModeRewind, keys::endModeClose};
    QTest::newRow("fit") << keys::imageFitMode
                         << QStringList{keys::fitModeFit, keys::fitModeZoom, keys::fitModeFill, keys::fitModeStretch};
    QStringList titles;
    for (const char* title : {"None", "Cross Fade", "Fast Cross Fade", "Flip", "Slide", "Rotate Left Right",
             "Rotate Left", "Shrink", "Expand", "Bar Swipe", "Swipe", "Mod", "All"}) {
        titles.append(QString::fromLatin1(title));
    }
    QTest::newRow("transition") << keys::transition << titles;
}

void SettingsKeysTest::registeredValueIsSensible()
{
    QFETCH(QString, key);
    QFETCH(QStringList, values);
    const QString registered = mDefaults->stringValue(key);
    QVERIFY2(values.contains(registered), qPrintable(registered));
}

void SettingsKeysTest::registeredNumbersAreSensible()
{
    QVERIFY(mDefaults->floatValue(keys::slideInterval) >= 1);
    QVERIFY(mDefaults->floatValue(keys::slideInterval) <= 60);
    QVERIFY(mDefaults->contains(keys::maxFolderLevel));
    QVERIFY(mDefaults->integerValue(keys::addInterval) >= 1);
    QVERIFY(!mDefaults->stringValue(keys::cursor).isEmpty());
    for (const auto& key : {keys::showNewItemsASAP, keys::autoStart, keys::showAdds, keys::showFilePath,
             keys::showFileName, keys::openLastUsedFolder, keys::hintsShown}) {
        QCOMPARE(mRegistered.value(key).typeId(), int(QMetaType::Bool));
    }
    QVERIFY(!mDefaults->boolValue(keys::hintsShown)); // or nobody would ever see the hint
    QVERIFY(!(mDefaults->boolValue(keys::showFilePath) && mDefaults->boolValue(keys::showFileName)));
}

void SettingsKeysTest::switchesThatMustBeOnAreOn_data()
{
    QTest::addColumn<QString>("key");
    QTest::newRow("welcome") << keys::showWelcome;
    QTest::newRow("update check") << keys::autoCheckNewVersion;
}

// Registered, and without anything registered, until a person switches them off.
void SettingsKeysTest::switchesThatMustBeOnAreOn()
{
    QFETCH(QString, key);
    QVERIFY(mDefaults->boolValueOrTrue(key));
    mDefaults->registerDefaults({});
    QVERIFY(mDefaults->boolValueOrTrue(key));
    mDefaults->setValue(key, false);
    QVERIFY(!mDefaults->boolValueOrTrue(key));
    mDefaults->removeValue(key);
    QVERIFY(mDefaults->boolValueOrTrue(key));
}

} // namespace frameflow

QTEST_GUILESS_MAIN(frameflow::SettingsKeysTest)
#include "SettingsKeysTest.moc"
