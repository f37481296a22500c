#include "common/FakeServices.h"
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
    int twips = 0;
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
    // the icon is there, and so may the owner, who gets the button events as
    // MouseMove X codes (the message number in twips).
    void lifeOfTheIcon()
    {
        Fixture f;
        RecordingOwner second;
        QPixmap pixmap(16, 16);
        pixmap.fill(Qt::red);
        const QIcon red(pixmap), none;
        QVERIFY(!AddsTray(AddsServices{}).Win_SysTrayAdd()); // no notification area at all
        f.tray.setWin_SysTrayOwnerControl(&second);
        f.tray.setWin_SysTrayOwnerControl(&f.owner);
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

        f.tray.setWin_SysTrayOwnerControl(&second);
        QCOMPARE(f.tray.Win_SysTrayOwnerControl(), &f.owner);
        QCOMPARE(f.boxes.messages(),
                 QStringList(qApp->applicationName() +
                             u"|Alerta: Adds.Win_SysTray (SysTray) no puede "
                             u"cambiar el OwnerControl cuando hay un ícono activo"_s));
        QCOMPARE(f.boxes.asked[0].icon, platform::BoxIcon::Exclamation);
        f.owner.twips = 12;
        using E = platform::TrayBackend::Event;
        for (E e : {E::LeftDown, E::LeftDoubleClick, E::RightDown, E::RightDoubleClick})
            f.backend.click(e);
        QCOMPARE(f.owner.codes, QStringList({u"180C"_s, u"1824"_s, u"1830"_s, u"1848"_s}));

        QVERIFY(f.tray.Win_SysTrayRemove());
        QVERIFY(f.tray.Win_SysTrayRemove()); // again: harmless, the shell is not asked
        QVERIFY(!f.tray.Win_SysTrayEnable());
        f.tray.setWin_SysTrayToolTip(u"tres"_s);
        QCOMPARE(std::tuple(f.backend.adds, f.backend.modifies, f.backend.removes),
                 std::tuple(2, 2, 1));
        QVERIFY(second.codes.isEmpty());
    }
};

QTEST_MAIN(TestAddsTray)
#include "tst_addstray.moc"
