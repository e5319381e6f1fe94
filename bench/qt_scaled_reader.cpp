// A peer: photographs to LCD-sized JPEG files with Qt's scaled reader, as a program over Qt would do it.
// Usage: qt_scaled_reader WIDTH HEIGHT FOLDER PHOTOGRAPH...
#include <QFileInfo>
#include <QGuiApplication>
#include <QImageReader>
#include <cstdlib>

int main(int argc, char** argv) {
    if (argc < 5)
        return 2;
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QGuiApplication application(argc, argv);
    const QSize lcd(std::atoi(argv[1]), std::atoi(argv[2]));
    for (int i = 4; i < argc; ++i) {
        QImageReader reader(QString::fromLocal8Bit(argv[i]));
        const QSize scaled = reader.size().scaled(lcd, Qt::KeepAspectRatioByExpanding);
        reader.setScaledSize(scaled);
        const QImage image = reader.read();
        const QRect middle(QPoint((scaled.width() - lcd.width()) / 2, (scaled.height() - lcd.height()) / 2),
                           lcd);
        const QString name = QFileInfo(reader.fileName()).fileName();
        if (!image.copy(middle).save(QString::fromLocal8Bit(argv[3]) + "/" + name, "JPG", 90))
            return 1;
    }
    return 0;
}
