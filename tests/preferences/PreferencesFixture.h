#pragma once

#include "ManualClock.h"
#include "PreferenceController.h"
#include "SettingsKeys.h"
#include "TestFiles.h"
#include "UserDefaults.h"

#include <QApplication>
#include <QDialog>
#include <QTest>

#include <memory>

namespace frameflow {

// The preferences window over settings of its own, which begin empty.
class PreferencesFixture : public PreferenceDelegate
{
public:
    PreferenceController& load(const QString& resources = QStringLiteral(":/frameflow"))
    {
        controller = std::make_unique<PreferenceController>(defaults, clock, resources);
        controller->setDelegate(this);
        return *controller;
    }

    void sortOrderChanged() override { ++sortOrderChanges; }

    template <typename Widget>
    Widget* find(const char* name) const
    {
        auto* widget = controller->window()->findChild<Widget*>(QString::fromLatin1(name));
        if (widget == nullptr) {
            qFatal("no %s", name);
        }
        return widget;
    }

    // Shows the window, with the keyboard; false when it does not come to that.
    bool show() const
    {
        controller->showWindow();
        QApplication::setActiveWindow(controller->window());
        return QTest::qWaitForWindowActive(controller->window());
    }

    void set(const QString& key, const QVariant& value) { defaults.setValue(key, value); }

    TestFolder folder;
    UserDefaults defaults{QString::fromUtf8(folder.pathOf("settings.conf"))};
    ManualClock clock;
    std::unique_ptr<PreferenceController> controller;
    int sortOrderChanges = 0;
};

} // namespace frameflow
