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
        {"CopyFilePath", {Qt::CTRL | Qt::Key_C}, Needs::Nothing, &C::CopyFilePath},
        {"openSlide", {Qt::CTRL | Qt::Key_E}, Needs::Nothing, &C::openSlide},
        {"trashSlide", {Qt::Key_Delete}, Needs::Nothing, &C::trashSlide, WhileWaiting::Refused},
        {"cancel", {Qt::Key_Escape}, Needs::Nothing, &C::cancel, WhileWaiting::AtOnce},
        {"Play", {Qt::CTRL | Qt::Key_P}, Needs::Slides, &C::Play},
        {"nextSlide", {Qt::Key_Right, Qt::Key_PageDown}, Needs::Slides, &C::nextSlide, WhileWaiting::Waits,
            WhileHeld::Repeats},
        {"previousSlide", {Qt::Key_Left, Qt::Key_PageUp}, Needs::Slides, &C::previousSlide, WhileWaiting::Waits,
            WhileHeld::Repeats},
        {"firstSlide", {Qt::Key_Home}, Needs::Slides, &C::firstSlide},
        {"shuffle", {Qt::CTRL | Qt::Key_R}, Needs::Nothing, &C::shuffle},
        {"ShrinkToFit", {Qt::CTRL | Qt::Key_1}, Needs::Nothing, &C::ShrinkToFit},
        {"ZoomToFit", {Qt::CTRL | Qt::Key_2}, Needs::Nothing, &C::ZoomToFit},
        {"FillScreen", {Qt::CTRL | Qt::Key_3}, Needs::Nothing, &C::FillScreen},
        {"Stretch", {Qt::CTRL | Qt::Key_4}, Needs::Nothing, &C::Stretch},
        {"ZoomIn", {Qt::Key_Plus}, Needs::Nothing, &C::ZoomIn, WhileWaiting::Waits, WhileHeld::Repeats},
        {"ZoomOne", {Qt::CTRL | Qt::Key_0}, Needs::Nothing, &C::ZoomOne},
        {"ZoomOff", {Qt::Key_Minus}, Needs::Nothing, &C::ZoomOff},
        {"ShowFilePath", {Qt::CTRL | Qt::SHIFT | Qt::Key_P}, Needs::Nothing, &C::ShowFilePath},
        {"ShowFileName", {Qt::CTRL | Qt::SHIFT | Qt::Key_N}, Needs::Nothing, &C::ShowFileName},
        {"ShowGridScreen", {Qt::CTRL | Qt::Key_T}, Needs::Nothing, &C::ShowGridScreen},
        {"ShowControls", {Qt::CTRL | Qt::SHIFT | Qt::Key_C}, Needs::Nothing, &C::ShowControls, WhileWaiting::AtOnce},
        {"ShowChooseScreen", {}, Needs::Nothing, &C::ShowChooseScreen, WhileWaiting::AtOnce},
        {"WindowMode", {Qt::CTRL | Qt::SHIFT | Qt::Key_W}, Needs::Nothing, &C::WindowMode, WhileWaiting::AtOnce},
        {"FullScreen", {Qt::Key_F11}, Needs::WindowMode, &C::FullScreen, WhileWaiting::AtOnce},
        {"showHelp", {Qt::Key_F1}, Needs::Nothing, &C::showHelp, WhileWaiting::AtOnce},
        {"ShowWelcomeScreen", {}, Needs::Nothing, &C::ShowWelcomeScreen, WhileWaiting::AtOnce},
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
        return state.windowMode && !state.isWindowFullScreen;
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
    if (mode != modes.constEnd()) {
        return *mode == state.fitMode;
    }
    return (id == QLatin1String("ShowFilePath") && state.showsFilePath)
        || (id == QLatin1String("ShowFileName") && state.showsFileName);
}

QString changingTitle(const QString& id, const CommandState& state)
{
    const auto title = [](const char* text) { return QCoreApplication::translate("ActionTable", text); };
    if (id == QLatin1String("Play")) {
        return state.timerRuns ? title("&Stop Slideshow") : title("&Start Slideshow");
    }
    if (id == QLatin1String("ShowControls")) {
        return state.controlsVisible ? title("Hide Cont&rols") : title("Show Cont&rols");
    }
    return {};
}

} // namespace frameflow
