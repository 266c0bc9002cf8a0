#include "ApplicationPanel.h"
#include "Bookmark.h"
#include "ElidedLabel.h"
#include "PreferencesFixture.h"

#include <QDialogButtonBox>
#include <QDir>
#include <QFileDialog>
#include <QHelpEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QTabWidget>
#include <QToolTip>

#include <sys/stat.h>

using namespace frameflow;

namespace {

const QString defaultApplication = QStringLiteral("Default Application");

} // namespace

// The applications that open files of the show, and the ad folder.
class PreferenceFilesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init() { mFixture = std::make_unique<PreferencesFixture>(); }
    void cleanup() { mFixture.reset(); }

    void theLabelsNameTheApplications_data();
    void theLabelsNameTheApplications();
    void aLongNameIsCutInTheMiddle();
    void anApplicationThatIsNotInstalledIsSaidSo();
    void anApplicationUninstalledMeanwhileIsSaidSo();
    void theDefaultIsUsedAgain();
    void theLabelsFollowChangesMadeElsewhere();

    void thePickerListsApplicationsAndSaysWhyNot();
    void aChosenApplicationIsStored_data();
    void aChosenApplicationIsStored();
    void cancellingThePickerChangesNothing();
    void thePickerIsOneAtATime();
    void searchingNarrowsTheList();
    void anApplicationUninstalledWhileItIsChosen();
    void whatThePickerLetsChooseDependsOnTheKind();
    void anEmptyPickerSaysWhatToDo();
    void closingTheProgramWithAnOpenPicker();

    void theAdFolderIsNamed_data();
    void theAdFolderIsNamed();
    void aChosenAdFolderIsStored();
    void cancellingTheFolderPanelChangesNothing();
    void aFolderThatCannotBeRememberedStoresNothing();
    void anAdFolderThatVanishedIsSaidSo();
    void garbageForABookmarkIsNoFolder_data();
    void garbageForABookmarkIsNoFolder();
    void adsWithoutAFolderAskForOne();

private:
    ElidedLabel* label(const char* name) const { return mFixture->find<ElidedLabel>(name); }
    QLabel* note(const char* name) const { return mFixture->find<QLabel>(name); }
    void click(const char* name) const { mFixture->find<QPushButton>(name)->click(); }
    QString stored(const QString& key) const { return mFixture->defaults.stringValue(key); }
    static QString entry(const char* name)
    {
        return QFile::decodeName(qgetenv("XDG_DATA_HOME") + "/applications/" + name);
    }
    static QListWidget* list(const ApplicationPanel* panel) { return panel->findChild<QListWidget*>(); }
    static QLabel* panelNote(const ApplicationPanel* panel)
    {
        return panel->findChild<QLabel*>(QStringLiteral("note"));
    }
    static QListWidgetItem* item(const ApplicationPanel* panel, const QString& name)
    {
        const auto items = list(panel)->findItems(name, Qt::MatchExactly);
        return items.size() == 1 ? items.first() : nullptr;
    }
    // Opens the picker and waits for its list.
    ApplicationPanel* pick(const char* button) const
    {
        click(button);
        auto* panel = mFixture->controller->applicationPanel();
        return QTest::qWaitFor([&] { return list(panel)->count() > 0; }) ? panel : nullptr;
    }
    QByteArray bookmark() const { return mFixture->defaults.dataValue(keys::addFolder); }
    void chooseFolder(const QByteArray& path) const
    {
        click("chooseAddFolder");
        auto* panel = mFixture->controller->folderPanel();
        panel->setDirectory(QFile::decodeName(path));
        panel->findChild<QLineEdit*>(QStringLiteral("fileNameEdit"))->setText(QFile::decodeName(path));
        panel->findChild<QDialogButtonBox*>(QStringLiteral("buttonBox"))
            ->button(QDialogButtonBox::Open)
            ->setEnabled(true);
        QMetaObject::invokeMethod(panel, "accept");
    }

    std::unique_ptr<PreferencesFixture> mFixture;
};

void PreferenceFilesTest::initTestCase()
{
    const auto write = [](const char* name, const QByteArray& lines) {
        QFile file(entry(name));
        QVERIFY(QDir().mkpath(QFileInfo(file).path()));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("[Desktop Entry]\nType=Application\n" + lines);
    };
    write("painter.desktop", "Name=Test Painter\nExec=/bin/true %f\nMimeType=image/png;\n");
    write("cutter.desktop", "Name=Test Cutter\nExec=/bin/true %f\nMimeType=video/quicktime;\n");
    write("all.desktop", "Name=Test All\nExec=/bin/true %f\nMimeType=*/*;\n");
    write("none.desktop", "Name=Test None\nExec=/bin/true\nIcon=/dev/zero\n");
    write("capitals.desktop", "Name=Test Capitals\nExec=/bin/true\nMimeType=IMAGE/JPEG;\n");
}

void PreferenceFilesTest::theLabelsNameTheApplications_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QString>("shown");
    QTest::newRow("absent") << QVariant() << defaultApplication;
    QTest::newRow("empty") << QVariant(QString()) << defaultApplication;
    QTest::newRow("wrong type") << QVariant(QVariantList{1}) << defaultApplication;
    QTest::newRow("file name without extension")
        << QVariant(QStringLiteral("/Applications/Preview.app")) << QStringLiteral("Preview");
    QTest::newRow("only the last extension")
        << QVariant(QStringLiteral("/x/org.example.Viewer.desktop")) << QStringLiteral("org.example.Viewer");
    QTest::newRow("installed: its own name") << QVariant(entry("painter.desktop")) << QStringLiteral("Test Painter");
    QTest::newRow("a folder") << QVariant(QStringLiteral("/usr/share")) << QStringLiteral("share");
    QTest::newRow("endless") << QVariant(QStringLiteral("/dev/zero")) << QStringLiteral("zero");
    QTest::newRow("line ends") << QVariant(QStringLiteral("/x/a\nb.desktop")) << QStringLiteral("a\uFFFDb");
    QTest::newRow("markup") << QVariant(QStringLiteral("/x/<b>bold.desktop")) << QStringLiteral("<b>bold");
}

void PreferenceFilesTest::theLabelsNameTheApplications()
{
    QFETCH(QVariant, value);
    QFETCH(QString, shown);
    if (value.isValid()) {
        mFixture->set(keys::imageEditorPath, value);
        mFixture->set(keys::movieEditorPath, value);
    }
    mFixture->load();
    for (const char* name : {"imageAppLabel", "movieAppLabel"}) {
        QTRY_COMPARE(label(name)->text(), shown);
        QCOMPARE(label(name)->textFormat(), Qt::PlainText);
        QCOMPARE(label(name)->toolTip().isEmpty(), shown == defaultApplication);
    }
}

void PreferenceFilesTest::aLongNameIsCutInTheMiddle()
{
    const QString name = QStringLiteral("Begin") + QString(300, QLatin1Char('m')) + QStringLiteral("End");
    mFixture->set(keys::imageEditorPath, QStringLiteral("/opt/applications/%1.desktop").arg(name));
    mFixture->load();
    QVERIFY(mFixture->show());
    mFixture->find<QTabWidget>("mPages")->setCurrentIndex(3);
    auto* text = label("imageAppLabel");
    QCOMPARE(text->text(), name);
    QVERIFY(text->shownText().size() < name.size());
    QVERIFY(text->shownText().startsWith(QLatin1String("Begin")));
    QVERIFY(text->shownText().endsWith(QLatin1String("End")));
    QVERIFY(text->toolTip().contains(QStringLiteral("/opt/applications/%1.desktop").arg(name)));
    const int width = mFixture->controller->window()->width();
    QVERIFY2(width < 700, qPrintable(QString::number(width)));
    QVERIFY(mFixture->controller->window()->rect().contains(
        text->mapTo(mFixture->controller->window(), text->rect().bottomRight())));
}

void PreferenceFilesTest::anApplicationThatIsNotInstalledIsSaidSo()
{
    mFixture->set(keys::movieEditorPath, QStringLiteral("/nowhere/cutter.desktop"));
    mFixture->load();
    QTRY_COMPARE(note("movieAppNote")->text(),
        QStringLiteral("“cutter” is not installed. Choose another one, or use the default."));
    QVERIFY(!note("movieAppNote")->isHidden());
    QVERIFY(note("imageAppNote")->text().isEmpty());
    click("resetMovieApp");
    QVERIFY(note("movieAppNote")->isHidden());
    QCOMPARE(label("movieAppLabel")->text(), defaultApplication);
}

void PreferenceFilesTest::anApplicationUninstalledMeanwhileIsSaidSo()
{
    const QString path = QFile::decodeName(
        mFixture->folder.addFile("gone.desktop", "[Desktop Entry]\nType=Application\nName=Gone\nExec=/bin/true\n"));
    mFixture->set(keys::imageEditorPath, path);
    mFixture->load();
    QVERIFY(mFixture->show());
    QTRY_COMPARE(label("imageAppLabel")->text(), QStringLiteral("Gone"));
    QVERIFY(note("imageAppNote")->isHidden());
    QVERIFY(QFile::remove(path));
    QEvent back(QEvent::WindowActivate); // from the program in which it was uninstalled
    QApplication::sendEvent(mFixture->controller->window(), &back);
    QTRY_VERIFY(note("imageAppNote")->text().contains(QLatin1String("not installed")));
    QCOMPARE(stored(keys::imageEditorPath), path);
}

void PreferenceFilesTest::theDefaultIsUsedAgain()
{
    mFixture->set(keys::imageEditorPath, entry("painter.desktop"));
    mFixture->set(keys::movieEditorPath, entry("cutter.desktop"));
    mFixture->load();
    QTRY_COMPARE(label("movieAppLabel")->text(), QStringLiteral("Test Cutter"));
    click("resetImageApp");
    QVERIFY(!mFixture->defaults.contains(keys::imageEditorPath));
    QCOMPARE(label("imageAppLabel")->text(), defaultApplication);
    QCOMPARE(label("movieAppLabel")->text(), QStringLiteral("Test Cutter"));
    click("resetMovieApp");
    QVERIFY(!mFixture->defaults.contains(keys::movieEditorPath));
    QCOMPARE(label("movieAppLabel")->text(), defaultApplication);
}

void PreferenceFilesTest::theLabelsFollowChangesMadeElsewhere()
{
    mFixture->load();
    mFixture->set(keys::imageEditorPath, entry("painter.desktop"));
    QTRY_COMPARE(label("imageAppLabel")->text(), QStringLiteral("Test Painter"));
    mFixture->set(keys::imageEditorPath, entry("all.desktop"));
    QTRY_COMPARE(label("imageAppLabel")->text(), QStringLiteral("Test All"));
    mFixture->defaults.removeValue(keys::imageEditorPath);
    QCOMPARE(label("imageAppLabel")->text(), defaultApplication);
}

void PreferenceFilesTest::thePickerListsApplicationsAndSaysWhyNot()
{
    mFixture->load();
    const auto* panel = pick("chooseImageApp");
    QVERIFY(panel != nullptr);
    QCOMPARE(panel->findChild<QLabel*>(QStringLiteral("message"))->text(), QStringLiteral("Choose an application."));
    for (const char* name : {"Test Painter", "Test All"}) {
        const auto* row = item(panel, QString::fromLatin1(name));
        QVERIFY2(row != nullptr && row->flags().testFlag(Qt::ItemIsSelectable), name);
        QVERIFY(row->toolTip().endsWith(QLatin1String(".desktop")));
    }
    for (const char* name : {"Test Cutter", "Test None", "Test Capitals"}) {
        const auto* row = item(panel, QString::fromLatin1(name));
        QVERIFY2(row != nullptr && !row->flags().testFlag(Qt::ItemIsSelectable), name);
        QCOMPARE(row->toolTip(), QStringLiteral("This application does not say that it opens images."));
    }
    // What can be chosen comes first.
    QVERIFY(list(panel)->row(item(panel, QStringLiteral("Test Painter")))
        < list(panel)->row(item(panel, QStringLiteral("Test Cutter"))));
    QVERIFY(!panel->isModal() || panel->windowModality() == Qt::WindowModal);
}

void PreferenceFilesTest::aChosenApplicationIsStored_data()
{
    QTest::addColumn<QByteArray>("button");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QByteArray>("file");
    QTest::addColumn<QByteArray>("shownBy");
    QTest::newRow("images") << QByteArray("chooseImageApp") << keys::imageEditorPath << QStringLiteral("Test Painter")
                            << QByteArray("painter.desktop") << QByteArray("imageAppLabel");
    QTest::newRow("movies") << QByteArray("chooseMovieApp") << keys::movieEditorPath << QStringLiteral("Test Cutter")
                            << QByteArray("cutter.desktop") << QByteArray("movieAppLabel");
}

void PreferenceFilesTest::aChosenApplicationIsStored()
{
    QFETCH(QByteArray, button);
    QFETCH(QString, key);
    QFETCH(QString, name);
    QFETCH(QByteArray, file);
    QFETCH(QByteArray, shownBy);
    mFixture->load();
    mFixture->set(keys::navLastRootDirectory, QStringLiteral("/before"));
    auto* panel = pick(button.constData());
    QVERIFY(panel != nullptr);
    QCOMPARE(stored(keys::navLastRootDirectory), QStringLiteral("/Applications"));
    list(panel)->setCurrentItem(item(panel, name));
    panel->accept();
    QCOMPARE(stored(key), entry(file.constData()));
    QTRY_COMPARE(label(shownBy.constData())->text(), name);
    QCOMPARE(stored(keys::navLastRootDirectory), QStringLiteral("/before"));
    QVERIFY(!mFixture->defaults.contains(key == keys::imageEditorPath ? keys::movieEditorPath : keys::imageEditorPath));
    QVERIFY(mFixture->controller->applicationPanel() == nullptr);
}

void PreferenceFilesTest::cancellingThePickerChangesNothing()
{
    mFixture->set(keys::imageEditorPath, entry("all.desktop"));
    mFixture->load();
    auto* panel = pick("chooseImageApp");
    QVERIFY(panel != nullptr);
    QVERIFY(mFixture->defaults.contains(keys::navLastRootDirectory));
    panel->reject();
    QCOMPARE(stored(keys::imageEditorPath), entry("all.desktop"));
    QVERIFY(!mFixture->defaults.contains(keys::navLastRootDirectory));
    // And it can be opened again, for the other kind.
    panel = pick("chooseMovieApp");
    QVERIFY(panel != nullptr);
    QVERIFY(item(panel, QStringLiteral("Test Cutter"))->flags().testFlag(Qt::ItemIsSelectable));
    QVERIFY(!item(panel, QStringLiteral("Test Painter"))->flags().testFlag(Qt::ItemIsSelectable));
}

void PreferenceFilesTest::thePickerIsOneAtATime()
{
    mFixture->load();
    auto* panel = pick("chooseImageApp");
    QVERIFY(panel != nullptr);
    mFixture->controller->chooseMovieApp();
    QCOMPARE(mFixture->controller->applicationPanel(), panel);
    list(panel)->setCurrentItem(item(panel, QStringLiteral("Test Painter")));
    panel->accept();
    QCOMPARE(stored(keys::imageEditorPath), entry("painter.desktop"));
    QVERIFY(!mFixture->defaults.contains(keys::movieEditorPath));
}

void PreferenceFilesTest::searchingNarrowsTheList()
{
    mFixture->load();
    auto* panel = pick("chooseImageApp");
    QVERIFY(panel != nullptr);
    auto* search = panel->findChild<QLineEdit*>(QStringLiteral("search"));
    auto* choose = panel->findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Ok);
    QTest::keyClicks(search, QStringLiteral("TEST pAint"));
    QVERIFY(item(panel, QStringLiteral("Test All"))->isHidden());
    QVERIFY(choose->isEnabled());
    QCOMPARE(panel->chosenPath(), entry("painter.desktop"));
    QTest::keyClicks(search, QStringLiteral("xyz"));
    QVERIFY(!choose->isEnabled());
    QVERIFY(panel->chosenPath().isEmpty());
    QCOMPARE(panelNote(panel)->text(), QStringLiteral("No application of that name can be chosen."));
    QTest::keyClick(search, Qt::Key_Return);
    QVERIFY(panel->isVisible());
    search->clear();
    QVERIFY(panelNote(panel)->text().isEmpty());
    // The arrows lead through the list while the field has the keyboard.
    const QString first = panel->chosenPath();
    QTest::keyClick(search, Qt::Key_Down);
    QVERIFY(panel->chosenPath() != first);
}

void PreferenceFilesTest::anApplicationUninstalledWhileItIsChosen()
{
    mFixture->load();
    QFile file(entry("short.desktop"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("[Desktop Entry]\nType=Application\nName=Short\nExec=/bin/true\nMimeType=image/png;\n");
    file.close();
    auto* panel = pick("chooseImageApp");
    QVERIFY(panel != nullptr);
    panel->setEntries({{{entry("short.desktop"), QStringLiteral("Short"), {}, {}}, true}});
    QVERIFY(file.remove());
    panel->accept();
    QTRY_COMPARE(note("imageAppNote")->text(),
        QStringLiteral("“short” is not installed. Choose another one, or use the default."));
}

void PreferenceFilesTest::whatThePickerLetsChooseDependsOnTheKind()
{
    auto& controller = mFixture->load();
    Application images;
    images.types = QStringList{QStringLiteral("image/png")};
    Application movies;
    movies.types = QStringList{QStringLiteral("video/quicktime")};
    controller.chooseImageApp();
    QVERIFY(controller.panel(images));
    QVERIFY(!controller.panel(movies));
    controller.applicationPanel()->reject();
    controller.chooseMovieApp();
    QVERIFY(!controller.panel(images));
    QVERIFY(controller.panel(movies));
}

void PreferenceFilesTest::anEmptyPickerSaysWhatToDo()
{
    ApplicationPanel panel(OpenedKind::Movies, nullptr);
    QCOMPARE(panelNote(&panel)->text(), QStringLiteral("Looking for applications…"));
    QVERIFY(!panel.findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Ok)->isEnabled());
    panel.setEntries({});
    QCOMPARE(panelNote(&panel)->text(),
        QStringLiteral("No application here says that it opens movies. Install one, then choose again."));
    panel.show();
    panel.accept();
    QVERIFY(panel.isVisible());
}

void PreferenceFilesTest::closingTheProgramWithAnOpenPicker()
{
    mFixture->load();
    click("chooseImageApp");
    click("chooseAddFolder");
    mFixture->controller.reset();
    QVERIFY(!mFixture->defaults.contains(keys::navLastRootDirectory));
    QCoreApplication::sendPostedEvents();
    QVERIFY(QApplication::topLevelWidgets().isEmpty());
}

void PreferenceFilesTest::theAdFolderIsNamed_data()
{
    QTest::addColumn<QByteArray>("folder");
    QTest::addColumn<QString>("shown");
    QTest::newRow("plain") << QByteArray("Ads") << QStringLiteral("Ads");
    QTest::newRow("without extension") << QByteArray("Spring 2026.ads") << QStringLiteral("Spring 2026");
    QTest::newRow("hidden") << QByteArray(".ads") << QStringLiteral(".ads");
    QTest::newRow("not UTF-8") << QByteArray("a\xff") << QStringLiteral("a\uFFFD");
}

void PreferenceFilesTest::theAdFolderIsNamed()
{
    QFETCH(QByteArray, folder);
    QFETCH(QString, shown);
    mFixture->folder.addFolder(folder);
    mFixture->set(keys::addFolder, bookmarkForFolder(mFixture->folder.urlOf(folder)));
    mFixture->load();
    QTRY_COMPARE(label("addFolderLabel")->text(), shown);
    QVERIFY(label("addFolderLabel")->toolTip().startsWith(QString::fromUtf8(mFixture->folder.path())));
    QVERIFY(note("addFolderNote")->isHidden());
}

void PreferenceFilesTest::aChosenAdFolderIsStored()
{
    const QByteArray path = mFixture->folder.addFolder("Summer.ads");
    mFixture->load();
    QCOMPARE(label("addFolderLabel")->text(), QStringLiteral("None chosen"));
    click("chooseAddFolder");
    QCOMPARE(mFixture->controller->folderPanel()->windowTitle(), QStringLiteral("Choose an Ad Folder."));
    QVERIFY(mFixture->controller->folderPanel()->testOption(QFileDialog::ShowDirsOnly));
    QCOMPARE(mFixture->controller->folderPanel()->fileMode(), QFileDialog::Directory);
    chooseFolder(path);
    QTRY_COMPARE(label("addFolderLabel")->text(), QStringLiteral("Summer"));
    const auto resolved = resolveBookmark(bookmark());
    QVERIFY(resolved);
    QCOMPARE(resolved->folder.path(), path);
    QTRY_COMPARE(label("addFolderLabel")->toolTip(), QString::fromUtf8(path));
    QVERIFY(mFixture->controller->folderPanel() == nullptr);
    // The next panel begins there.
    click("chooseAddFolder");
    QCOMPARE(mFixture->controller->folderPanel()->directory().path(), QString::fromUtf8(path));
}

void PreferenceFilesTest::cancellingTheFolderPanelChangesNothing()
{
    mFixture->load();
    click("chooseAddFolder");
    mFixture->controller->folderPanel()->reject();
    QVERIFY(!mFixture->defaults.contains(keys::addFolder));
    QCOMPARE(label("addFolderLabel")->text(), QStringLiteral("None chosen"));
    QVERIFY(mFixture->controller->folderPanel() == nullptr);
}

void PreferenceFilesTest::aFolderThatCannotBeRememberedStoresNothing()
{
    const QByteArray before = mFixture->folder.addFolder("Before");
    const QByteArray path = mFixture->folder.addFolder("Gone");
    mFixture->set(keys::addFolder, bookmarkForFolder(FileUrl::fromPath(before)));
    mFixture->load();
    QTRY_COMPARE(label("addFolderLabel")->text(), QStringLiteral("Before"));
    // It vanishes between being chosen and being looked up, which begins when the handler has returned.
    click("chooseAddFolder");
    auto* panel = mFixture->controller->folderPanel();
    panel->setDirectory(QFile::decodeName(path));
    QVERIFY(QDir().rmdir(QFile::decodeName(path)));
    static_cast<QDialog*>(panel)->done(QDialog::Accepted);
    QTRY_VERIFY(!mFixture->defaults.contains(keys::addFolder));
    QCOMPARE(label("addFolderLabel")->text(), QStringLiteral("None chosen"));
    QCOMPARE(note("addFolderNote")->text(), QStringLiteral("“Gone” cannot be used as ad folder. Choose another one."));
    QVERIFY(!note("addFolderNote")->isHidden());
}

void PreferenceFilesTest::anAdFolderThatVanishedIsSaidSo()
{
    const QByteArray path = mFixture->folder.addFolder("Ads");
    mFixture->set(keys::addFolder, bookmarkForFolder(FileUrl::fromPath(path)));
    mFixture->load();
    QTRY_COMPARE(label("addFolderLabel")->text(), QStringLiteral("Ads"));
    QVERIFY(QDir().rmdir(QFile::decodeName(path)));
    QEvent back(QEvent::WindowActivate);
    QApplication::sendEvent(mFixture->controller->window(), &back);
    QTRY_COMPARE(label("addFolderLabel")->text(), QStringLiteral("None chosen"));
    QCOMPARE(
        note("addFolderNote")->text(), QStringLiteral("The chosen folder is not there any more. Choose another one."));
    QVERIFY(!bookmark().isEmpty()); // it may come back, on a disk that is plugged in again
    mFixture->folder.addFolder("Ads");
    mFixture->set(keys::addFolder, bookmarkForFolder(FileUrl::fromPath(path)));
    QTRY_COMPARE(label("addFolderLabel")->text(), QStringLiteral("Ads"));
    QVERIFY(note("addFolderNote")->isHidden());
}

void PreferenceFilesTest::garbageForABookmarkIsNoFolder_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::newRow("bytes") << QVariant(QByteArray(10000, '\x80'));
    QTest::newRow("text") << QVariant(QStringLiteral("/home"));
    QTest::newRow("number") << QVariant(42);
    QTest::newRow("true") << QVariant(true);
}

void PreferenceFilesTest::garbageForABookmarkIsNoFolder()
{
    QFETCH(QVariant, value);
    mFixture->set(keys::addFolder, value);
    mFixture->load();
    QTRY_VERIFY(note("addFolderNote")->text().contains(QLatin1String("not there any more")));
    QCOMPARE(label("addFolderLabel")->text(), QStringLiteral("None chosen"));
}

void PreferenceFilesTest::adsWithoutAFolderAskForOne()
{
    mFixture->load();
    QVERIFY(note("addFolderNote")->isHidden());
    mFixture->set(keys::showAdds, true);
    QCOMPARE(note("addFolderNote")->text(), QStringLiteral("Choose the folder that the ads are in."));
    mFixture->set(keys::showAdds, false);
    QVERIFY(note("addFolderNote")->isHidden());
}

QTEST_MAIN(PreferenceFilesTest)
#include "PreferenceFilesTest.moc"
