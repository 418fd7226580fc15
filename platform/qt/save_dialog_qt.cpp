// The save-file dialog on Qt's own file dialog (the same on every desktop, so
// the ending rule below holds everywhere). A job thread's dialog is opened on
// the GUI thread without a nested loop, as a worker's message box is, and the
// job waits for the answer; several can stand at once, modal to nothing.
#include <QApplication>
#include <QFileDialog>
#include <QThread>

#include <future>
#include <memory>

#include "platform/qt/backend_qt.h"

namespace {

// Qt reads the patterns inside the label's last parentheses, separated by
// blanks; the Windows form separates them by ';'.
QString QtFilter(const FilterRow& row) {
  QString label = QString::fromStdString(row.label);
  int open = label.lastIndexOf('(');
  if (open > 0)
    label = label.left(open).trimmed();
  QString patterns = QString::fromStdString(row.patterns);
  patterns.replace(';', ' ');
  return label + " (" + patterns + ")";
}

QFileDialog* NewSaveDialog(Hwnd owner, const std::string& title,
                           const std::vector<FilterRow>& filter, const std::string& name,
                           const std::string& folder) {
  QWidget* parent = QtQuestionParent(owner);
  auto* dialog =
      new QFileDialog(parent, QString::fromStdString(title), QString::fromStdString(folder));
  dialog->setOption(QFileDialog::DontUseNativeDialog);
  dialog->setOption(QFileDialog::DontConfirmOverwrite);
  dialog->setAcceptMode(QFileDialog::AcceptSave);
  dialog->setFileMode(QFileDialog::AnyFile);
  QStringList rows;
  for (const FilterRow& row : filter)
    rows << QtFilter(row);
  if (!rows.isEmpty()) {
    dialog->setNameFilters(rows);
    dialog->selectNameFilter(rows.front());
  }
  dialog->selectFile(QString::fromStdString(name));
  return dialog;
}

std::string Chosen(QFileDialog* dialog, const std::vector<FilterRow>& filter) {
  QStringList files = dialog->selectedFiles();
  if (files.isEmpty())
    return std::string();
  std::string path = files.front().toStdString();
  int row = static_cast<int>(dialog->nameFilters().indexOf(dialog->selectedNameFilter()));
  if (row >= 0 && row < static_cast<int>(filter.size()))
    path = WithPatternEnding(path, filter[static_cast<std::size_t>(row)].patterns);
  return path;
}

} // namespace

std::string QtSaveFileDialog(Hwnd owner, const std::string& title,
                             const std::vector<FilterRow>& filter, const std::string& name,
                             const std::string& folder) {
  if (QThread::currentThread() == qApp->thread()) {
    std::unique_ptr<QFileDialog> dialog(NewSaveDialog(owner, title, filter, name, folder));
    if (QtAwaitQuestion(dialog.get()) != QDialog::Accepted)
      return std::string();
    return Chosen(dialog.get(), filter);
  }
  auto answer = std::make_shared<std::promise<std::string>>();
  std::future<std::string> result = answer->get_future();
  QMetaObject::invokeMethod(
      qApp,
      [=] {
        QFileDialog* dialog = NewSaveDialog(owner, title, filter, name, folder);
        dialog->setAttribute(Qt::WA_DeleteOnClose);
        QObject::connect(dialog, &QFileDialog::finished, dialog, [=](int code) {
          answer->set_value(code == QDialog::Accepted ? Chosen(dialog, filter) : std::string());
        });
        QtShowQuestion(dialog);
      },
      Qt::QueuedConnection);
  try {
    return result.get();
  } catch (const std::future_error&) {
    return std::string(); // the dialog went with the application: a cancel
  }
}
