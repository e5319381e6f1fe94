// Lists the recovery journals of this home, and saves the pictures of one into a folder: whatever the program
// guessed about a frame, the pictures are there.
//
// Main thread only; the pictures are written on a thread of the dialog's own, which its end waits for.
#pragma once

#include <QDialog>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <vector>

#include "app/parts/main_thread_calls.h"
#include "app/parts/reader_thread.h"
#include "store/kept_journals.h"

namespace lumato::app {

class RecoverDialog : public QDialog {
    Q_OBJECT

  public:
    // `folder`: where the choice of a folder begins.
    RecoverDialog(const Path& statePath, Path folder, QWidget* parent);

    // Writes the pictures of the chosen journal.
    void SaveTo(const Path& folder);

  private:
    void ChooseFolder();
    void ShowSaved(const QString& said);
    [[nodiscard]] static QString Described(const store::KeptJournal& journal);

    std::vector<store::KeptJournal> m_journals;
    Path m_folder;
    QListWidget* m_list;
    QLabel* m_said;
    QPushButton* m_save;
    MainThreadCalls m_calls;
    ReaderThread m_writer;  // last: it ends before what it speaks to
};

}  // namespace lumato::app
