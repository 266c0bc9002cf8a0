#include "PreferencesFixture.h"

#include <QAbstractButton>
#include <QComboBox>
#include <QLabel>
#include <QSet>
#include <QSignalSpy>
#include <QTabBar>
#include <QTabWidget>
#include <QTableView>

using namespace frameflow;

// The window as a whole: what every control needs, by page.
class PreferenceWindowTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        mFixture = std::make_unique<PreferencesFixture>();
        mFixture->load();
    }
    void cleanup() { mFixture.reset(); }

    void everyControlHasANameForTheBlind();
    void mnemonicsOfAPageDoNotCollide();
    void theKeyboardReachesEveryControl();
    void thePagesFitSmallAndLargeWindows();
    void keysCloseAndTellOnce();
    void theWindowIsKeptAsItWasLeft();
    void theListsAreNotFilledAgain();
    void rightToLeftMirrorsTheWindow();
    void nothingRunsWhileTheWindowIsOpen();

private:
    QDialog* window() const { return mFixture->controller->window(); }
    QTabWidget* pages() const { return mFixture->find<QTabWidget>("mPages"); }
    static QList<QWidget*> controlsOf(QWidget* page)
    {
        QList<QWidget*> controls;
        for (QWidget* widget : page->findChildren<QWidget*>()) {
            const bool isInner = widget->objectName().startsWith(QLatin1String("qt_"));
            if (widget->isVisible() && widget->isEnabled() && !isInner && (widget->focusPolicy() & Qt::TabFocus) != 0) {
                controls.append(widget);
            }
        }
        return controls;
    }
    static QString mnemonicIn(const QString& text)
    {
        const qsizetype mark = text.indexOf(QLatin1Char('&'));
        return mark >= 0 && mark + 1 < text.size() ? text.mid(mark + 1, 1).toLower() : QString();
    }

    std::unique_ptr<PreferencesFixture> mFixture;
};

void PreferenceWindowTest::everyControlHasANameForTheBlind()
{
    QVERIFY(mFixture->show());
    for (int page = 0; page < pages()->count(); ++page) {
        pages()->setCurrentIndex(page);
        const auto controls = controlsOf(pages()->currentWidget());
        QVERIFY(!controls.isEmpty());
        for (const QWidget* control : controls) {
            const auto* button = qobject_cast<const QAbstractButton*>(control);
            const bool isNamed
                = !control->accessibleName().isEmpty() || (button != nullptr && !button->text().isEmpty());
            QVERIFY2(isNamed, qPrintable(control->objectName()));
        }
    }
}

void PreferenceWindowTest::mnemonicsOfAPageDoNotCollide()
{
    QSet<QString> tabs;
    for (int page = 0; page < pages()->count(); ++page) {
        const QString key = mnemonicIn(pages()->tabText(page));
        QVERIFY2(!key.isEmpty() && !tabs.contains(key), qPrintable(pages()->tabText(page)));
        tabs.insert(key);
    }
    for (int page = 0; page < pages()->count(); ++page) {
        QSet<QString> seen = tabs;
        QStringList texts;
        for (const auto* button : pages()->widget(page)->findChildren<QAbstractButton*>()) {
            texts.append(button->text());
        }
        for (const auto* title : pages()->widget(page)->findChildren<QLabel*>()) {
            texts.append(title->buddy() != nullptr ? title->text() : QString());
        }
        for (const QString& text : texts) {
            const QString key = mnemonicIn(text);
            QVERIFY2(key.isEmpty() || !seen.contains(key), qPrintable(text));
            seen.insert(key);
        }
    }
}

void PreferenceWindowTest::theKeyboardReachesEveryControl()
{
    QVERIFY(mFixture->show());
    for (int page = 0; page < pages()->count(); ++page) {
        pages()->setCurrentIndex(page);
        QSet<QWidget*> reached;
        pages()->tabBar()->setFocus();
        QList<int> tops;
        for (int i = 0; i < 40; ++i) {
            QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
            if (reached.contains(QApplication::focusWidget())) {
                break;
            }
            reached.insert(QApplication::focusWidget());
            tops.append(QApplication::focusWidget()->mapTo(window(), QPoint()).y());
        }
        for (QWidget* control : controlsOf(pages()->currentWidget())) {
            // Of a group of radio buttons the chosen one is reached, and the arrows lead to the others.
            const auto* button = qobject_cast<QAbstractButton*>(control);
            if (button == nullptr || button->group() == nullptr || button->isChecked()) {
                QVERIFY2(reached.contains(control), qPrintable(control->objectName()));
            }
        }
        // From top to bottom, before it begins anew with the tabs.
        tops.removeLast();
        for (qsizetype i = 1; i < tops.size(); ++i) {
            QVERIFY(tops.at(i) >= tops.at(i - 1) - 8);
        }
    }
}

void PreferenceWindowTest::thePagesFitSmallAndLargeWindows()
{
    QVERIFY(mFixture->show());
    const QSize least = window()->minimumSizeHint();
    QVERIFY2(least.width() <= 640 && least.height() <= 560,
        qPrintable(QStringLiteral("%1 x %2").arg(least.width()).arg(least.height())));
    for (const QSize size : {least, QSize(2400, 1400)}) {
        window()->resize(size);
        for (int page = 0; page < pages()->count(); ++page) {
            pages()->setCurrentIndex(page);
            QTRY_COMPARE(window()->size(), size);
            for (const QWidget* control : controlsOf(pages()->currentWidget())) {
                const QRect place(control->mapTo(pages()->currentWidget(), QPoint()), control->size());
                QVERIFY2(pages()->currentWidget()->rect().contains(place), qPrintable(control->objectName()));
            }
        }
    }
}

void PreferenceWindowTest::keysCloseAndTellOnce()
{
    QSignalSpy closed(mFixture->controller.get(), &PreferenceController::closed);
    QVERIFY(mFixture->show());
    QTest::keyClick(window(), Qt::Key_Escape);
    QVERIFY(!window()->isVisible());
    QCOMPARE(closed.size(), 1);
    QVERIFY(mFixture->show());
    QTest::keyClick(window(), Qt::Key_W, Qt::ControlModifier);
    QVERIFY(!window()->isVisible());
    QCOMPARE(closed.size(), 2);
    QVERIFY(mFixture->show());
    QVERIFY(window()->close());
    QCOMPARE(closed.size(), 3);
    QVERIFY(mFixture->show());
    mFixture->find<QAbstractButton>("closeButton")->click();
    QCOMPARE(closed.size(), 4);
}

void PreferenceWindowTest::theWindowIsKeptAsItWasLeft()
{
    QVERIFY(mFixture->show());
    const auto* before = window();
    pages()->setCurrentIndex(2);
    window()->close();
    QVERIFY(mFixture->show());
    QCOMPARE(window(), before);
    QCOMPARE(pages()->currentIndex(), 2);
}

void PreferenceWindowTest::theListsAreNotFilledAgain()
{
    auto* menu = mFixture->find<QComboBox>("mTransitionMenu");
    const auto* rows = mFixture->find<QTableView>("mCursorTable")->model();
    QSignalSpy removed(menu->model(), &QAbstractItemModel::rowsRemoved);
    QSignalSpy reset(rows, &QAbstractItemModel::modelReset);
    QVERIFY(mFixture->show());
    window()->close();
    QVERIFY(mFixture->show());
    QCOMPARE(menu->count(), 13);
    QCOMPARE(removed.size(), 0);
    QCOMPARE(reset.size(), 0);
}

void PreferenceWindowTest::rightToLeftMirrorsTheWindow()
{
    window()->setLayoutDirection(Qt::RightToLeft);
    QVERIFY(mFixture->show());
    const auto* title = mFixture->find<QLabel>("orderingTitle");
    const auto* menu = mFixture->find<QComboBox>("mOrderingMenu");
    QTRY_VERIFY(title->mapTo(window(), QPoint()).x() > menu->mapTo(window(), QPoint()).x());
    pages()->setCurrentIndex(2);
    auto* table = mFixture->find<QTableView>("mCursorTable");
    QTRY_VERIFY(table->isVisible());
    // The picture's tile stands at the right edge of its row.
    const QImage row = table->viewport()->grab().toImage();
    const int y = table->visualRect(table->model()->index(1, 1)).center().y();
    const auto tile = QColor(QRgb(0xFF3A4150));
    QCOMPARE(row.pixelColor(row.width() - 9, y), tile);
    QVERIFY(row.pixelColor(9, y) != tile);
}

void PreferenceWindowTest::nothingRunsWhileTheWindowIsOpen()
{
    QVERIFY(mFixture->show());
    QCOMPARE(mFixture->clock.pendingAlarms(), size_t(0));
}

QTEST_MAIN(PreferenceWindowTest)
#include "PreferenceWindowTest.moc"
