// The program's main: Qt application, the Qt window backend for local
// windows, the carrier for Pane handles, then the system's own entry.
#include <QApplication>

#include "platform/carrier.h"
#include "platform/qt/backend_qt.h"
#include "shell/startup.h"

int main(int argc, char** argv) {
  QApplication app(argc, argv); // takes Qt's own switches out of argv
  QApplication::setQuitOnLastWindowClosed(false);
  SetWindowBackend(QtBackend());
  SetPaneBackend(CarrierPaneBackend());
  QtEndProcess(SkerryMain(argc, argv));
}
