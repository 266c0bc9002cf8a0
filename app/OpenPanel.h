#pragma once

#include "FileUrl.h"

#include <QFileDialog>
#include <QList>

namespace frameflow {

// The panel in which files, folders, or several of both are chosen. It lists folders and what the program can show.
// Shown with open(); its owner reads the choice when it has finished.
class OpenPanel : public QFileDialog
{
    Q_OBJECT

public:
    OpenPanel(const QUrl& folder, QWidget* parent);

    // What was selected when the panel was confirmed; the folder in view when nothing was.
    QList<FileUrl> chosenFiles() const;

protected:
    void accept() override;
    void done(int result) override;

private:
    QList<FileUrl> mChosen;
};

} // namespace frameflow
