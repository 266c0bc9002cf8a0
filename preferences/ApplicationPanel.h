#pragma once

#include "Applications.h"

#include <QDialog>

#include <memory>

namespace Ui {
class ApplicationPanel;
}

namespace frameflow {

// The panel in which one of the desktop's applications is chosen. All are listed; those that do not open such files
// cannot be chosen, and say so. Shown with open(); its owner gives it the list, and reads the choice when it has
// finished.
class ApplicationPanel : public QDialog
{
    Q_OBJECT

public:
    struct Entry
    {
        Application application;
        bool canBeChosen = false;
    };

    ApplicationPanel(OpenedKind kind, QWidget* parent);
    ~ApplicationPanel() override;

    // What can be chosen first, otherwise in the given order. Any thread.
    static std::vector<Entry> entriesFrom(std::vector<Application> applications, OpenedKind kind);
    void setEntries(const std::vector<Entry>& entries);
    // The path of the chosen one's desktop entry; empty without a choice.
    QString chosenPath() const;

    void accept() override;

protected:
    bool eventFilter(QObject* object, QEvent* event) override;

private:
    void narrow();
    void validate();

    const OpenedKind mKind;
    std::unique_ptr<Ui::ApplicationPanel> mUi;
    bool mIsLoaded = false;
};

} // namespace frameflow
