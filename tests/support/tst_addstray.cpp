#include "common/FakeServices.h"
#include "support/AddsTray.h"

#include <QImage>
#include <QPixmap>
#include <QtTest>

using namespace orvex;
using namespace Qt::StringLiterals;

namespace {

class RecordingOwner final : public TrayOwnerControl
{
public:
    quint32 hwnd() const override { return 0x1234; }
    int twipsPerPixel() const override { return twips; }
    void MouseMove(int, int, float X, float) override
    {
        codes << QString::number(qRound(X), 16).toUpper();
    }
    int twips = 15;
    QStringList codes;
};

QIcon solidIcon(Qt::GlobalColor colour)
{
    QPixmap p(16, 16);
    p.fill(colour);
    return QIcon(p);
}

} // namespace

class TestAddsTray : public QObject
{
    Q_OBJECT
private slots:
    void tipIsPaddedAndCutToTheField_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("shown");
        QTest::newRow("short") << u"Orvex - Sistema en linea"_s << u" Orvex - Sistema en linea "_s;
        QTest::newRow("empty") << QString() << QString();
        // 70 characters: blank + the first 63 of them, no terminator left.
        const QString seventy = QString(70, u'x');
        QTest::newRow("cut") << seventy << QStringLiteral(" ") + QString(63, u'x');
        QTest::newRow("exactly fits")
            << QString(62, u'y') << QStringLiteral(" ") + QString(62, u'y') + QStringLiteral(" ");
    }
    void tipIsPaddedAndCutToTheField()
    {
        QFETCH(QString, text);
        QFETCH(QString, shown);
        test::FakeTrayBackend backend;
        AddsServices services;
        services.tray = &backend;
        AddsTray tray(services);
        tray.setWin_SysTrayToolTip(text);
        QVERIFY(tray.Win_SysTrayAdd());
        QCOMPARE(backend.shownTip, shown);
        // The field as stored is always 64 characters; the rest is zeros.
        const QString field = tray.Win_SysTrayToolTip();
        QCOMPARE(field.size(), 64);
        QVERIFY(field.startsWith(shown));
        QCOMPARE(field.mid(shown.size()), QString(64 - shown.size(), QChar(u'\0')));
    }

    void tipKeepsAnsiBytesInTheRecord()
    {
        AddsServices services;
        AddsTray tray(services);
        tray.setWin_SysTrayToolTip(u"Año"_s);
        const QByteArray record = tray.trayData().toBytes();
        QCOMPARE(record.mid(24, 6), QByteArray(" A\xF1o \0", 6));
    }

    void recordHasTheShellLayout()
    {
        test::FakeTrayBackend backend;
        RecordingOwner owner;
        AddsServices services;
        services.tray = &backend;
        AddsTray tray(services);
        tray.setWin_SysTrayOwnerControl(&owner);
        QVERIFY(tray.Win_SysTrayAdd());
        const QByteArray b = tray.trayData().toBytes();
        QCOMPARE(b.size(), 88);
        auto u32 = [&b](int off) { return qFromLittleEndian<quint32>(b.constData() + off); };
        QCOMPARE(u32(0), 88u);
        QCOMPARE(u32(4), 0x1234u);
        QCOMPARE(u32(8), 1u);
        QCOMPARE(u32(12), 7u);
        QCOMPARE(u32(16), 512u);
    }

    void iconAndTipChangesReachTheShellOnlyWhileActive()
    {
        test::FakeTrayBackend backend;
        AddsServices services;
        services.tray = &backend;
        AddsTray tray(services);

        const QIcon red = solidIcon(Qt::red);
        tray.setWin_SysTrayIcon(red);
        tray.setWin_SysTrayToolTip(u"uno"_s);
        QCOMPARE(backend.modifies, 0);
        QVERIFY(!tray.Win_SysTrayEnable());

        QVERIFY(tray.Win_SysTrayAdd());
        QCOMPARE(backend.adds, 1);
        QCOMPARE(backend.shownIcon.cacheKey(), red.cacheKey());
        QVERIFY(tray.Win_SysTrayEnable());

        const QIcon green = solidIcon(Qt::green);
        tray.setWin_SysTrayIcon(green);
        tray.setWin_SysTrayToolTip(u"dos"_s);
        QCOMPARE(backend.adds, 1);
        QCOMPARE(backend.modifies, 2);
        QCOMPARE(backend.shownIcon.cacheKey(), green.cacheKey());
        QCOMPARE(backend.shownTip, u" dos "_s);

        QVERIFY(tray.Win_SysTrayRemove());
        QVERIFY(!tray.Win_SysTrayEnable());
        QCOMPARE(backend.removes, 1);
        // Removing again is harmless and asks nothing of the shell.
        QVERIFY(tray.Win_SysTrayRemove());
        QCOMPARE(backend.removes, 1);
        tray.setWin_SysTrayToolTip(u"tres"_s);
        QCOMPARE(backend.modifies, 2);
    }

    void refusedAddLeavesTheServiceInactive()
    {
        test::FakeTrayBackend backend;
        backend.accept = false;
        AddsServices services;
        services.tray = &backend;
        AddsTray tray(services);
        QVERIFY(!tray.Win_SysTrayAdd());
        QVERIFY(!tray.Win_SysTrayEnable());
        tray.setWin_SysTrayToolTip(u"x"_s);
        QCOMPARE(backend.modifies, 0);

        AddsTray noFacility{AddsServices{}};
        QVERIFY(!noFacility.Win_SysTrayAdd());
    }

    void ownerCannotChangeWhileActive()
    {
        test::FakeTrayBackend backend;
        test::FakeMessageBoxes boxes;
        AddsServices services;
        services.tray = &backend;
        services.messageBoxes = &boxes;
        AddsTray tray(services);
        RecordingOwner first;
        RecordingOwner second;
        tray.setWin_SysTrayOwnerControl(&first);
        tray.setWin_SysTrayOwnerControl(&second); // allowed while inactive
        QCOMPARE(tray.Win_SysTrayOwnerControl(), &second);
        QVERIFY(boxes.exclamations.isEmpty());

        QVERIFY(tray.Win_SysTrayAdd());
        tray.setWin_SysTrayOwnerControl(&first);
        QCOMPARE(tray.Win_SysTrayOwnerControl(), &second);
        QCOMPARE(boxes.exclamations.size(), 1);
        QVERIFY(boxes.exclamations.first().endsWith(
            u"|Alerta: Adds.Win_SysTray (SysTray) no puede cambiar el OwnerControl cuando hay un ícono activo"_s));
    }

    void buttonEventsArriveAsTheOwnersCallbackCodes_data()
    {
        QTest::addColumn<int>("twips");
        QTest::addColumn<QStringList>("codes");
        QTest::newRow("normal fonts")
            << 15 << QStringList{u"1E0F"_s, u"1E2D"_s, u"1E3C"_s, u"1E5A"_s};
        QTest::newRow("large fonts")
            << 12 << QStringList{u"180C"_s, u"1824"_s, u"1830"_s, u"1848"_s};
    }
    void buttonEventsArriveAsTheOwnersCallbackCodes()
    {
        QFETCH(int, twips);
        QFETCH(QStringList, codes);
        test::FakeTrayBackend backend;
        AddsServices services;
        services.tray = &backend;
        AddsTray tray(services);
        RecordingOwner owner;
        owner.twips = twips;
        tray.setWin_SysTrayOwnerControl(&owner);
        QVERIFY(tray.Win_SysTrayAdd());
        using E = platform::TrayBackend::Event;
        for (E e : {E::LeftDown, E::LeftDoubleClick, E::RightDown, E::RightDoubleClick})
            backend.click(e);
        QCOMPARE(owner.codes, codes);
    }
};

QTEST_MAIN(TestAddsTray)
#include "tst_addstray.moc"
