#include "common/FakeServices.h"
#include "common/MessageLog.h"
#include "support/AddsTray.h"

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

struct Fixture
{
    test::FakeTrayBackend backend;
    test::FakeMessageBoxes boxes;
    RecordingOwner owner;
    AddsTray tray{AddsServices{.messageBoxes = &boxes, .tray = &backend}};
};

} // namespace

class TestAddsTray : public QObject
{
    Q_OBJECT
private slots:
    // The shell shows the text between blanks, cut to the 64-byte field.
    void tip_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QByteArray>("tip"); // the field's bytes before its zero fill
        QTest::newRow("ANSI") << u"Año"_s << " A\xF1o "_ba;
        QTest::newRow("empty") << QString() << QByteArray();
        QTest::newRow("cut: no terminator left")
            << QString(70, u'x') << " "_ba + QByteArray(63, 'x');
        QTest::newRow("exactly fits") << QString(62, u'y') << " "_ba + QByteArray(62, 'y') + " ";
    }
    void tip()
    {
        QFETCH(QString, text);
        QFETCH(QByteArray, tip);
        Fixture f;
        f.tray.setWin_SysTrayToolTip(text);
        QVERIFY(f.tray.Win_SysTrayAdd());
        QCOMPARE(f.backend.shownTip, QString::fromLatin1(tip));
        QCOMPARE(f.tray.Win_SysTrayToolTip(),
                 QString::fromLatin1(tip.leftJustified(AddsTray::kTipSize, '\0')));
    }

    // Refused, then added, then removed: changes reach the shell only while
    // the icon is there.
    void changesReachTheShellOnlyWhileActive()
    {
        Fixture f;
        QPixmap pixmap(16, 16);
        pixmap.fill(Qt::red);
        const QIcon red(pixmap), none;
        QVERIFY(!AddsTray(AddsServices{}).Win_SysTrayAdd()); // no notification area at all
        f.backend.accept = false;
        QVERIFY(!f.tray.Win_SysTrayAdd());
        f.tray.setWin_SysTrayIcon(red);
        QVERIFY(!f.tray.Win_SysTrayEnable());
        f.backend.accept = true;
        QVERIFY(f.tray.Win_SysTrayAdd());
        QCOMPARE(f.backend.shownIcon.cacheKey(), red.cacheKey());
        QVERIFY(f.tray.Win_SysTrayEnable());
        f.tray.setWin_SysTrayIcon(none);
        f.tray.setWin_SysTrayToolTip(u"dos"_s);
        QCOMPARE(f.backend.shownIcon.cacheKey(), none.cacheKey());
        QCOMPARE(f.backend.shownTip, u" dos "_s);
        QVERIFY(f.tray.Win_SysTrayRemove());
        QVERIFY(f.tray.Win_SysTrayRemove()); // again: harmless, the shell is not asked
        QVERIFY(!f.tray.Win_SysTrayEnable());
        f.tray.setWin_SysTrayToolTip(u"tres"_s);
        QCOMPARE(f.backend.adds, 2);
        QCOMPARE(f.backend.modifies, 2);
        QCOMPARE(f.backend.removes, 1);
    }

    // The owner may change only while no icon is shown; the refusal is told,
    // the usage help is logged.
    void ownerCannotChangeWhileActive()
    {
        Fixture f;
        RecordingOwner second;
        f.tray.setWin_SysTrayOwnerControl(&f.owner);
        f.tray.setWin_SysTrayOwnerControl(&second);
        QVERIFY(f.tray.Win_SysTrayAdd());
        f.tray.setWin_SysTrayOwnerControl(&f.owner);
        QCOMPARE(f.tray.Win_SysTrayOwnerControl(), &second);
        QCOMPARE(f.boxes.asked.size(), size_t(1));
        QCOMPARE(f.boxes.asked[0].icon, platform::BoxIcon::Exclamation);
        QCOMPARE(f.boxes.asked[0].buttons, platform::BoxButtons::Ok);
        QCOMPARE(
            f.boxes.asked[0].text,
            u"Alerta: Adds.Win_SysTray (SysTray) no puede cambiar el OwnerControl cuando hay un ícono activo"_s);
        test::MessageLog log("orvex.tray");
        f.tray.Win_SysTrayHelp();
        QVERIFY(
            log.messages().value(0).startsWith(u"Uso del ícono en el área de notificación:\n"_s));
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
        Fixture f;
        QFETCH(int, twips);
        f.owner.twips = twips;
        f.tray.setWin_SysTrayOwnerControl(&f.owner);
        QVERIFY(f.tray.Win_SysTrayAdd());
        using E = platform::TrayBackend::Event;
        for (E e : {E::LeftDown, E::LeftDoubleClick, E::RightDown, E::RightDoubleClick})
            f.backend.click(e);
        QTEST(f.owner.codes, "codes");
    }
};

QTEST_MAIN(TestAddsTray)
#include "tst_addstray.moc"
