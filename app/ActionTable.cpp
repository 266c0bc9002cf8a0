#include "ActionTable.h"

#include "SettingsKeys.h"
#include "SlideController.h"

#include <QCoreApplication>
#include <QHash>

namespace frameflow {

const std::vector<ActionRow>& actionTable()
{
    using C = SlideController;
    static const std::vector<ActionRow> rows{
        {"AboutFrameflow", {}, Needs::Nothing, &C::showAbout, WhileWaiting::AtOnce},
        {"CheckUpdate", {}, Needs::Nothing, &C::CheckUpdate, WhileWaiting::AtOnce},
        {"ShowPreferences", {Qt::CTRL | Qt::Key_Comma}, Needs::Nothing, &C::ShowPreferences, WhileWaiting::AtOnce},
        {"quit", {Qt::CTRL | Qt::Key_Q}, Needs::Nothing, &C::quit, WhileWaiting::AtOnce},
        {"openMenu", {Qt::CTRL | Qt::Key_O}, Needs::Nothing, &C::openMenu, WhileWaiting::AtOnce},
        {"trashSlide", {Qt::Key_Delete}, Needs::Nothing, &C::trashSlide, WhileWaiting::Refused},
        {"cancel", {Qt::Key_Escape}, Needs::Nothing, &C::cancel, WhileWaiting::AtOnce},
        {"Play", {Qt::CTRL | Qt::Key_P}, Needs::Slides, &C::Play},
        {"nextSlide", {Qt::Key_Right, Qt::Key_PageDown}, Needs::Slides, &C::nextSlide},
        {"previousSlide", {Qt::Key_Left, Qt::Key_PageUp}, Needs::Slides, &C::previousSlide},
        {"firstSlide", {Qt::Key_Home}, Needs::Slides, &C::firstSlide},
        {"shuffle", {Qt::CTRL | Qt::Key_R}, Needs::Nothing, &C::shuffle},
        {"ShrinkToFit", {Qt::CTRL | Qt::Key_1}, Needs::Nothing, &C::ShrinkToFit},
        {"ZoomToFit", {Qt::CTRL | Qt::Key_2}, Needs::Nothing, &C::ZoomToFit},
        {"FillScreen", {Qt::CTRL | Qt::Key_3}, Needs::Nothing, &C::FillScreen},
        {"Stretch", {Qt::CTRL | Qt::Key_4}, Needs::Nothing, &C::Stretch},
        {"ZoomIn", {Qt::Key_Plus}, Needs::Nothing, &C::ZoomIn},
        {"ZoomOne", {Qt::CTRL | Qt::Key_0}, Needs::Nothing, &C::ZoomOne},
        {"ZoomOff", {Qt::Key_Minus}, Needs::Nothing, &C::ZoomOff},
        {"ShowGridScreen", {Qt::CTRL | Qt::Key_T}, Needs::Nothing, &C::ShowGridScreen},
        {"ShowChooseScreen", {}, Needs::Nothing, &C::ShowChooseScreen, WhileWaiting::AtOnce},
        {"WindowMode", {Qt::CTRL | Qt::SHIFT | Qt::Key_W}, Needs::Nothing, &C::WindowMode, WhileWaiting::AtOnce},
        {"FullScreen", {Qt::Key_F11}, Needs::WindowMode, &C::FullScreen, WhileWaiting::AtOnce},
    };
    return rows;
}

bool isEnabled(Needs needs, const CommandState& state)
{
    switch (needs) {
    case Needs::Nothing:
        return true;
    case Needs::Slides:
        return state.slideCount > 0;
    case Needs::WindowMode:
        return state.windowMode;
    }
    return false;
}

bool isChecked(const QString& id, const CommandState& state)
{
    static const QHash<QString, QString> modes{
        {QStringLiteral("ShrinkToFit"), keys::fitModeFit},
        {QStringLiteral("ZoomToFit"), keys::fitModeZoom},
        {QStringLiteral("FillScreen"), keys::fitModeFill},
        {QStringLiteral("Stretch"), keys::fitModeStretch},
    };
    const auto mode = modes.constFind(id);
    return mode != modes.constEnd() && *mode == state.fitMode;
}

QString changingTitle(const QString& id, const CommandState& state)
{
    if (id == QLatin1String("Play")) {
        return state.timerRuns ? QCoreApplication::translate("ActionTable", "Stop Slideshow")
                               : QCoreApplication::translate("ActionTable", "Start Slideshow");
    }
    return {};
}

} // namespace frameflow
