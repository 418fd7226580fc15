// The baseline of the start-up benchmark: the least a Qt program does to
// show the panel's picture in a frameless window in the middle of the screen.
// Usage: bench_bare_panel <skin.bmp>
#include <QApplication>
#include <QImage>
#include <QPainter>
#include <QScreen>
#include <QWidget>

namespace {

struct Face : QWidget {
  QImage image;
  void paintEvent(QPaintEvent*) override { QPainter(this).drawImage(0, 0, image); }
};

} // namespace

int main(int argc, char** argv) {
  QApplication app(argc, argv);
  if (argc < 2)
    return 2;
  Face face;
  face.image = QImage(QString::fromLocal8Bit(argv[1])).copy(0, 0, 350, 593);
  face.setWindowFlags(Qt::Window | Qt::FramelessWindowHint);
  face.setAttribute(Qt::WA_OpaquePaintEvent);
  QRect screen = QGuiApplication::primaryScreen()->geometry();
  face.setGeometry((screen.width() - 350) / 2, (screen.height() - 593) / 2, 350, 593);
  face.show();
  return app.exec();
}
