#include "MainForm.h"
#include "ProfilerForm.h"

#include <QIcon>
#include <QImage>
#include <QtTest>

// The images that the network graph paints behind its nodes, and the icon,
// as the program finds them in its resources.
class tst_Resources : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void plates_data();
    void plates();
    void icon();
};

void tst_Resources::plates_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QColor>("rim");

    QTest::newRow("plate") << ":Profiler/node-faceplate.png" << QColor(218, 218, 218);
    QTest::newRow("highlighted plate")
        << ":Profiler/node-faceplate-highlight.png" << QColor(229, 229, 67);
}

void tst_Resources::plates()
{
    QFETCH(QString, path);
    QFETCH(QColor, rim);

    QImage image(path);
    QCOMPARE(image.size(), QSize(240, 90));
    QVERIFY(image.hasAlphaChannel());
    QCOMPARE(qAlpha(image.pixel(0, 0)), 0); // outside the rounded corner
    QCOMPARE(qAlpha(image.pixel(239, 89)), 0);
    for (QPoint rimPoint : {QPoint(2, 45), QPoint(120, 1), QPoint(237, 45), QPoint(120, 88)})
        QCOMPARE(image.pixelColor(rimPoint), rim);
    // The glass lets the state colour through and darkens downwards.
    const QColor upper = image.pixelColor(60, 20);
    const QColor lower = image.pixelColor(60, 70);
    QVERIFY(upper.alpha() > 100 && upper.alpha() < 230);
    QVERIFY(lower.alpha() > 100 && lower.alpha() < 230);
    QVERIFY(upper.red() > lower.red() + 100);
    QCOMPARE(upper.red(), upper.blue()); // grey, whatever the rim
}

void tst_Resources::icon()
{
    MainForm window;
    QVERIFY(qobject_cast<ProfilerForm*>(window.centralWidget()) != nullptr);
    const QList<QSize> sizes = window.windowIcon().availableSizes();
    QCOMPARE(sizes.size(), 5);
    for (int size : {16, 32, 48, 64, 128})
        QVERIFY(sizes.contains(QSize(size, size)));
}

QTEST_MAIN(tst_Resources)
#include "tst_Resources.moc"
