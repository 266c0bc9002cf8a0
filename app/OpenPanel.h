#pragma once

#include "FileUrl.h"

#include <QFileDialog>
#include <QList>

class QLabel;

namespace frameflow {

// The panel in which files, folders, or several of both are chosen. It lists folders and what the program can show.
// Shown with open(); its owner reads the choice when it has finished.
class OpenPanel : public QFileDialog
{
    Q_OBJECT

public:
    OpenPanel(const QUrl& folder, QWidget* parent);

    // What was selected, or typed, when the panel was confirmed; the folder in view when nothing was.
    QList<FileUrl> chosenFiles() const { return mChosen; }

    // The names that a text of the name field stands for: one name, or several in double quotes with spaces between
    // them.
    static QStringList namesIn(const QString& text);

protected:
    void accept() override;
    void done(int result) override;

private:
    void useOwnOpenButton();
    QStringList selectedPaths() const;
    QStringList typedNames() const;

    QLabel* mMessage;
    QList<FileUrl> mChosen;
};

} // namespace frameflow
