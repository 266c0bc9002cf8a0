#include "AssertionFailure.h"
#include "KLLayerView.h"
#include "PreferencesFixture.h"
#include "TransitionPreview.h"

#include <QButtonGroup>
#include <QComboBox>
#include <QFile>
#include <QPushButton>
#include <QRadioButton>
#include <QTableView>

using namespace frameflow;

namespace {

const QStringList titles{QStringLiteral("None"), QStringLiteral("Cross Fade"), QStringLiteral("Fast Cross Fade"),
    QStringLiteral("Flip"), QStringLiteral("Slide"), QStringLiteral("Rotate Left Right"), QStringLiteral("Rotate Left"),
    QStringLiteral("Shrink"), QStringLiteral("Expand"), QStringLiteral("Bar Swipe"), QStringLiteral("Swipe"),
    QStringLiteral("Mod"), QStringLiteral("All")};
const QStringList pointers{QStringLiteral("Arrow"), QStringLiteral("Hand"), QStringLiteral("Dot"),
    QStringLiteral("Ring"), QStringLiteral("Spotlight"), QStringLiteral("Cross")};

} // namespace

// Transitions, order, end of the show, pictures for the pointer.
class PreferenceListsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { mFixture = std::make_unique<PreferencesFixture>(); }
    void cleanup() { mFixture.reset(); }

    void theMenuHasTheTransitionsInTheirOrder();
    void theStoredTransitionIsSelected_data();
    void theStoredTransitionIsSelected();
    void aChosenTransitionIsStoredByItsTitle();
    void everyTransitionPlaysInThePreview_data();
    void everyTransitionPlaysInThePreview();
    void choosingAnotherTransitionDoesNotWaitForTheOneThatPlays();
    void thePreviewOfAllGoesRoundByItself();
    void anUnknownTransitionCannotBePlayed();
    void thePreviewChangesNoSettings();

    void theStoredOrderIsSelected_data();
    void theStoredOrderIsSelected();
    void aChosenOrderIsStoredAndToldOnce_data();
    void aChosenOrderIsStoredAndToldOnce();
    void anOrderCanBeChosenWithoutADelegate();

    void theStoredEndIsSelected_data();
    void theStoredEndIsSelected();
    void aChosenEndIsStored_data();
    void aChosenEndIsStored();

    void thePointerTableHasAllPictures();
    void theStoredPointerIsSelected_data();
    void theStoredPointerIsSelected();
    void aChosenPointerIsStored();
    void withoutAListThereAreNoPointers_data();
    void withoutAListThereAreNoPointers();
    void aPictureThatIsMissingLeavesItsEntryOut();
    void ofTwoPicturesWithTheNameTheLastIsSelected();
    void aRowThatIsNotThereIsAProgrammingError();
    void theListsFollowChangesMadeElsewhere();

private:
    QComboBox* menu(const char* name) const { return mFixture->find<QComboBox>(name); }
    QButtonGroup* end() const { return mFixture->find<QButtonGroup>("mEndRadio"); }
    QTableView* table() const { return mFixture->find<QTableView>("mCursorTable"); }
    int selectedPointer() const
    {
        const auto rows = table()->selectionModel()->selectedRows(1);
        return rows.isEmpty() ? -1 : rows.first().row();
    }
    // As a person does it from the keyboard.
    static void choose(QComboBox* box, int index)
    {
        box->setCurrentIndex(index);
        Q_EMIT box->activated(index);
    }
    QString stored(const QString& key) const { return mFixture->defaults.stringValue(key); }
    // A folder of resources with a list of these names, and pictures for some of them.
    QString resources(const QStringList& names, const QStringList& withPicture) const
    {
        QByteArray list("<plist version=\"1.0\"><dict><key>Cursors</key><array>");
        for (const QString& name : names) {
            list += "<dict><key>Name</key><string>" + name.toUtf8() + "</string></dict>";
        }
        mFixture->folder.addFile("Cursors.plist", list + "</array></dict></plist>");
        for (const QString& name : withPicture) {
            mFixture->folder.addFile("cursors/" + name.toUtf8() + ".svg",
                "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"8\" height=\"8\"><rect width=\"8\" "
                "height=\"8\"/></svg>");
        }
        return QString::fromUtf8(mFixture->folder.path());
    }

    std::unique_ptr<PreferencesFixture> mFixture;
};

void PreferenceListsTest::theMenuHasTheTransitionsInTheirOrder()
{
    mFixture->load();
    const auto* box = menu("mTransitionMenu");
    QStringList shown;
    for (int i = 0; i < box->count(); ++i) {
        shown.append(box->itemText(i));
    }
    QCOMPARE(shown, titles);
}

void PreferenceListsTest::theStoredTransitionIsSelected_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<int>("index");
    QTest::newRow("absent") << QVariant() << 0;
    QTest::newRow("empty") << QVariant(QString()) << 0;
    for (int i = 0; i < titles.size(); ++i) {
        QTest::newRow(qPrintable(titles.at(i))) << QVariant(titles.at(i)) << i;
    }
    QTest::newRow("another case") << QVariant(QStringLiteral("swipe")) << -1;
    QTest::newRow("of the show alone") << QVariant(QStringLiteral("Test")) << -1;
    QTest::newRow("number") << QVariant(7) << -1;
    QTest::newRow("list") << QVariant(QStringList{QStringLiteral("Flip"), QStringLiteral("All")}) << 0;
    QTest::newRow("garbage") << QVariant(QString(100000, QLatin1Char('x'))) << -1;
}

void PreferenceListsTest::theStoredTransitionIsSelected()
{
    QFETCH(QVariant, value);
    QFETCH(int, index);
    if (value.isValid()) {
        mFixture->set(keys::transition, value);
    }
    mFixture->load();
    QCOMPARE(menu("mTransitionMenu")->currentIndex(), index);
    if (value.isValid()) {
        QCOMPARE(mFixture->defaults.value(keys::transition), value); // looking changes nothing
    }
}

void PreferenceListsTest::aChosenTransitionIsStoredByItsTitle()
{
    mFixture->load();
    for (int i = 0; i < titles.size(); ++i) {
        choose(menu("mTransitionMenu"), i);
        QCOMPARE(stored(keys::transition), titles.at(i));
    }
}

void PreferenceListsTest::everyTransitionPlaysInThePreview_data()
{
    QTest::addColumn<QString>("title");
    for (const QString& title : titles) {
        QTest::newRow(qPrintable(title)) << title;
    }
}

void PreferenceListsTest::everyTransitionPlaysInThePreview()
{
    QFETCH(QString, title);
    const auto& preview = mFixture->load().preview();
    const auto look = [&preview] { return preview.view().compositor().isMoving(); };
    QVERIFY(!look());
    choose(menu("mTransitionMenu"), static_cast<int>(titles.indexOf(title)));
    QCOMPARE(look(), title != QLatin1String("None"));
    QCOMPARE(preview.shown(), PreviewPicture::Night);
    mFixture->clock.advanceSeconds(10);
    QTRY_VERIFY(!look());
    QVERIFY(!preview.view().isBusy());
    // The new picture is what stands there, and the old one is gone.
    QCOMPARE(preview.view().currentLayer()->opacity(), 1.0);
    QCOMPARE(preview.view().previousLayer()->opacity(), 0.0);
    const QSize pixels = preview.view().currentImage()->getCGImage().size();
    QCOMPARE(preview.view().currentImage()->getCGImage(), previewPicture(PreviewPicture::Night, pixels));
    // Once more, back to the first.
    mFixture->find<QPushButton>("playButton")->click();
    QCOMPARE(preview.shown(), PreviewPicture::Day);
    QCOMPARE(look(), title != QLatin1String("None"));
}

void PreferenceListsTest::choosingAnotherTransitionDoesNotWaitForTheOneThatPlays()
{
    const auto& preview = mFixture->load().preview();
    choose(menu("mTransitionMenu"), 3);
    mFixture->clock.advanceSeconds(0.1);
    choose(menu("mTransitionMenu"), 7);
    QCOMPARE(preview.played(), QStringLiteral("Shrink"));
    QVERIFY(preview.view().compositor().isMoving());
    QCOMPARE(preview.shown(), PreviewPicture::Day);
}

void PreferenceListsTest::thePreviewOfAllGoesRoundByItself()
{
    const auto& preview = mFixture->load().preview();
    QStringList played;
    for (int i = 0; i < 12; ++i) {
        choose(menu("mTransitionMenu"), 12);
        played.append(preview.played());
    }
    QCOMPARE(played.first(), QStringLiteral("Cross Fade"));
    QCOMPARE(played.at(10), QStringLiteral("Slide"));
    QCOMPARE(played.last(), played.first());
    played.removeLast();
    QCOMPARE(played.removeDuplicates(), 0);
    QCOMPARE(stored(keys::transition), QStringLiteral("All"));
}

void PreferenceListsTest::anUnknownTransitionCannotBePlayed()
{
    mFixture->set(keys::transition, QStringLiteral("Test"));
    const auto& preview = mFixture->load().preview();
    QVERIFY(!mFixture->find<QPushButton>("playButton")->isEnabled());
    QVERIFY(!menu("mTransitionMenu")->placeholderText().isEmpty());
    QTest::mouseClick(const_cast<TransitionPreview*>(&preview), Qt::LeftButton);
    QVERIFY(preview.played().isEmpty());
    choose(menu("mTransitionMenu"), 1);
    QVERIFY(mFixture->find<QPushButton>("playButton")->isEnabled());
    QTest::mouseClick(const_cast<TransitionPreview*>(&preview), Qt::LeftButton);
    QCOMPARE(preview.shown(), PreviewPicture::Day); // there and back
}

void PreferenceListsTest::thePreviewChangesNoSettings()
{
    mFixture->set(keys::imageFitMode, keys::fitModeFill);
    mFixture->load();
    choose(menu("mTransitionMenu"), 12);
    QCOMPARE(stored(keys::imageFitMode), keys::fitModeFill);
    QCOMPARE(stored(keys::transition), QStringLiteral("All"));
}

void PreferenceListsTest::theStoredOrderIsSelected_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QString>("shown");
    QTest::newRow("name") << QVariant(keys::sortByName) << QStringLiteral("By Filename");
    QTest::newRow("url") << QVariant(keys::sortByUrl) << QStringLiteral("By Filepath");
    QTest::newRow("date") << QVariant(keys::sortByDate) << QStringLiteral("By Date");
    QTest::newRow("random") << QVariant(keys::sortRandom) << QStringLiteral("Random");
    QTest::newRow("unknown") << QVariant(QStringLiteral("size")) << QStringLiteral("Random");
    QTest::newRow("absent") << QVariant() << QStringLiteral("Random");
    QTest::newRow("number") << QVariant(1) << QStringLiteral("Random");
    QTest::newRow("list") << QVariant(QVariantList{1, 2}) << QStringLiteral("Random");
}

void PreferenceListsTest::theStoredOrderIsSelected()
{
    QFETCH(QVariant, value);
    QFETCH(QString, shown);
    if (value.isValid()) {
        mFixture->set(keys::sort, value);
    }
    mFixture->load();
    QCOMPARE(menu("mOrderingMenu")->count(), 4);
    QCOMPARE(menu("mOrderingMenu")->currentText(), shown);
    QCOMPARE(mFixture->sortOrderChanges, 0);
}

void PreferenceListsTest::aChosenOrderIsStoredAndToldOnce_data()
{
    QTest::addColumn<int>("index");
    QTest::addColumn<QString>("value");
    QTest::newRow("By Filename") << 0 << keys::sortByName;
    QTest::newRow("By Filepath") << 1 << keys::sortByUrl;
    QTest::newRow("By Date") << 2 << keys::sortByDate;
    QTest::newRow("Random") << 3 << keys::sortRandom;
}

void PreferenceListsTest::aChosenOrderIsStoredAndToldOnce()
{
    QFETCH(int, index);
    QFETCH(QString, value);
    mFixture->load();
    choose(menu("mOrderingMenu"), index);
    QCOMPARE(stored(keys::sort), value);
    QCOMPARE(mFixture->sortOrderChanges, 1);
}

void PreferenceListsTest::anOrderCanBeChosenWithoutADelegate()
{
    mFixture->load().setDelegate(nullptr);
    choose(menu("mOrderingMenu"), 1);
    QCOMPARE(stored(keys::sort), keys::sortByUrl);
    QCOMPARE(mFixture->controller->Delegate(), nullptr);
}

void PreferenceListsTest::theStoredEndIsSelected_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<int>("row");
    QTest::newRow("absent") << QVariant() << 0;
    QTest::newRow("rewind") << QVariant(keys::endModeRewind) << 0;
    QTest::newRow("wait") << QVariant(keys::endModeWait) << 1;
    QTest::newRow("close") << QVariant(keys::endModeClose) << 2;
    QTest::newRow("unknown: as laid out") << QVariant(QStringLiteral("EndModeOther")) << -1;
    QTest::newRow("wrong type: as laid out") << QVariant(QVariantList{1}) << -1;
}

void PreferenceListsTest::theStoredEndIsSelected()
{
    QFETCH(QVariant, value);
    QFETCH(int, row);
    if (value.isValid()) {
        mFixture->set(keys::endMode, value);
    }
    mFixture->load();
    QCOMPARE(end()->buttons().size(), 3);
    QCOMPARE(end()->checkedId(), row);
}

void PreferenceListsTest::aChosenEndIsStored_data()
{
    QTest::addColumn<int>("row");
    QTest::addColumn<QString>("value");
    QTest::newRow("0") << 0 << keys::endModeRewind;
    QTest::newRow("1") << 1 << keys::endModeWait;
    QTest::newRow("2") << 2 << keys::endModeClose;
}

void PreferenceListsTest::aChosenEndIsStored()
{
    QFETCH(int, row);
    QFETCH(QString, value);
    mFixture->set(keys::endMode, row == 2 ? keys::endModeRewind : keys::endModeClose);
    mFixture->load();
    end()->button(row)->click();
    QCOMPARE(stored(keys::endMode), value);
}

void PreferenceListsTest::thePointerTableHasAllPictures()
{
    const auto& controller = mFixture->load();
    QCOMPARE(controller.numberOfRowsInTableView(), static_cast<int>(pointers.size()));
    QCOMPARE(table()->model()->rowCount(), static_cast<int>(pointers.size()));
    for (int row = 0; row < pointers.size(); ++row) {
        QCOMPARE(controller.cursorTitle(row), pointers.at(row));
        const QVariant picture = controller.tableView(QStringLiteral("image"), row);
        QVERIFY(picture.isValid());
        QVERIFY(!controller.tableView(QStringLiteral("check"), row).isValid());
        QVERIFY(!controller.tableView(QStringLiteral("other"), row).isValid());
        // As sharp as the screen: there are pixels for every size that is asked for.
        const QImage large = picture.value<QIcon>().pixmap(QSize(400, 400)).toImage();
        QCOMPARE(large.size(), QSize(400, 400));
        QVERIFY(large != QImage(large.size(), large.format()));
    }
}

void PreferenceListsTest::theStoredPointerIsSelected_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<int>("row");
    for (int row = 0; row < pointers.size(); ++row) {
        QTest::newRow(qPrintable(pointers.at(row))) << QVariant(pointers.at(row)) << row;
    }
    QTest::newRow("absent") << QVariant() << 0;
    QTest::newRow("no such picture any more") << QVariant(QStringLiteral("Feather")) << 0;
    QTest::newRow("a path") << QVariant(QStringLiteral("../../etc/passwd")) << 0;
    QTest::newRow("wrong type") << QVariant(QVariantList{QStringLiteral("Dot")}) << 0;
}

void PreferenceListsTest::theStoredPointerIsSelected()
{
    QFETCH(QVariant, value);
    QFETCH(int, row);
    if (value.isValid()) {
        mFixture->set(keys::cursor, value);
    }
    mFixture->load();
    QCOMPARE(selectedPointer(), row);
    QCOMPARE(mFixture->defaults.value(keys::cursor).isValid(), value.isValid());
}

void PreferenceListsTest::aChosenPointerIsStored()
{
    mFixture->load();
    for (int row = static_cast<int>(pointers.size()) - 1; row >= 0; --row) {
        table()->selectRow(row);
        QCOMPARE(stored(keys::cursor), pointers.at(row));
        QCOMPARE(mFixture->controller->activeCursor(), row);
    }
    table()->clearSelection();
    QCOMPARE(stored(keys::cursor), pointers.first());
}

void PreferenceListsTest::withoutAListThereAreNoPointers_data()
{
    QTest::addColumn<QByteArray>("list");
    QTest::newRow("missing") << QByteArray();
    QTest::newRow("garbage") << QByteArray("\xff\xfe no list");
    QTest::newRow("no dictionary") << QByteArray("<plist version=\"1.0\"><string>x</string></plist>");
    QTest::newRow("no array") << QByteArray(
        "<plist version=\"1.0\"><dict><key>Cursors</key><integer>3</integer></dict></plist>");
    QTest::newRow("entries without a name") << QByteArray(
        "<plist version=\"1.0\"><dict><key>Cursors</key><array><dict/><integer>1</integer></array></dict></plist>");
}

void PreferenceListsTest::withoutAListThereAreNoPointers()
{
    QFETCH(QByteArray, list);
    if (!list.isEmpty()) {
        mFixture->folder.addFile("Cursors.plist", list);
    }
    mFixture->set(keys::cursor, QStringLiteral("Dot"));
    mFixture->load(QString::fromUtf8(mFixture->folder.path()));
    QCOMPARE(mFixture->controller->numberOfRowsInTableView(), 0);
    QCOMPARE(selectedPointer(), -1);
    QCOMPARE(stored(keys::cursor), QStringLiteral("Dot"));
}

// Rows and entries are counted alike: behind a picture that is missing, a row stands for the entry of its number.
void PreferenceListsTest::aPictureThatIsMissingLeavesItsEntryOut()
{
    const QStringList names{QStringLiteral("One"), QStringLiteral("Two"), QStringLiteral("Three")};
    mFixture->set(keys::cursor, QStringLiteral("Three"));
    mFixture->load(resources(names, {names.at(0), names.at(2)}));
    QCOMPARE(mFixture->controller->numberOfRowsInTableView(), 2);
    QCOMPARE(mFixture->controller->cursorTitle(1), names.at(2));
    QCOMPARE(selectedPointer(), -1); // its position is beyond the rows
    table()->selectRow(1);
    QCOMPARE(stored(keys::cursor), names.at(1));
}

void PreferenceListsTest::ofTwoPicturesWithTheNameTheLastIsSelected()
{
    const QStringList names{QStringLiteral("One"), QStringLiteral("Two"), QStringLiteral("One")};
    mFixture->set(keys::cursor, QStringLiteral("One"));
    mFixture->load(resources(names, names));
    QCOMPARE(selectedPointer(), 2);
}

void PreferenceListsTest::aRowThatIsNotThereIsAProgrammingError()
{
    const auto& controller = mFixture->load();
    for (const int row : {-1, controller.numberOfRowsInTableView()}) {
        std::string message;
        try {
            static_cast<void>(controller.tableView(QStringLiteral("image"), row));
        } catch (const AssertionFailure& failure) {
            message = failure.what();
        }
        QCOMPARE(
            message, std::string("Invalid parameter not satisfying: rowIndex >= 0 && rowIndex < [mCursors count]"));
    }
}

void PreferenceListsTest::theListsFollowChangesMadeElsewhere()
{
    mFixture->load();
    mFixture->set(keys::transition, QStringLiteral("Mod"));
    mFixture->set(keys::sort, keys::sortByDate);
    mFixture->set(keys::endMode, keys::endModeClose);
    mFixture->set(keys::cursor, QStringLiteral("Ring"));
    QCOMPARE(menu("mTransitionMenu")->currentText(), QStringLiteral("Mod"));
    QCOMPARE(menu("mOrderingMenu")->currentText(), QStringLiteral("By Date"));
    QCOMPARE(end()->checkedId(), 2);
    QCOMPARE(selectedPointer(), 3);
    QCOMPARE(mFixture->sortOrderChanges, 0); // nobody has chosen one here
    QVERIFY(mFixture->controller->preview().played().isEmpty());
    mFixture->set(keys::endMode, QStringLiteral("EndModeOther"));
    QCOMPARE(end()->checkedId(), 2);
    mFixture->defaults.removeValue(keys::transition);
    QCOMPARE(menu("mTransitionMenu")->currentIndex(), 0);
}

QTEST_MAIN(PreferenceListsTest)
#include "PreferenceListsTest.moc"
