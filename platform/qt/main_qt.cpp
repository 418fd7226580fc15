// The program's main: Qt application, the Qt window backend for local
// windows, the carrier for Pane handles, then the system's own entry.
#include <QApplication>
#include <QLibraryInfo>
#include <QTranslator>

#include "platform/carrier.h"
#include "platform/qt/backend_qt.h"
#include "platform/qt/x11_choice.h"
#include "shell/module_path.h"
#include "shell/startup.h"

int main(int argc, char** argv) {
  PreferX11BesideWayland();
  QApplication app(argc, argv); // takes Qt's own switches out of argv
  QApplication::setQuitOnLastWindowClosed(false);
  // Qt's own words (the buttons of message boxes) in the language of the run.
  QTranslator qtWords;
  if (LanguageFromLocale() == 1000 &&
      qtWords.load("qtbase_zh_TW", QLibraryInfo::path(QLibraryInfo::TranslationsPath)))
    QApplication::installTranslator(&qtWords);
  SetWindowBackend(QtBackend());
  SetPaneBackend(CarrierPaneBackend());
  QtEndProcess(SkerryMain(argc, argv));
}
