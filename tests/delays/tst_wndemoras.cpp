#include "common/FakeClock.h"
#include "common/FakeServices.h"
#include "common/FakeSystem.h"
#include "common/FakeWindowPin.h"
#include "common/TestSupport.h"
#include "delays/DelayRules.h"
#include "delays/wnDemoras.h"
#include "support/Adds.h"
#include "ui_wnDemoras.h"

#include <QListView>
#include <QSettings>
#include <QtTest>

using namespace orvex;
using namespace Qt::StringLiterals;

namespace {

// A program folder with the reminder sound, and the board on it, reading
// remembered delays from the user's settings as the agent does.
struct Board
{
    explicit Board(const QByteArray &file = QByteArray())
    {
        QDir(folder.path()).mkdir(u"resources"_s);
        test::writeBytes(folder.filePath(u"resources/cargardemoras.wav"_s), "RIFF");
        if (!file.isNull())
            test::writeBytes(path(), file);
        wnDemorasContext c;
        c.adds = &adds;
        c.boxes = &boxes;
        c.programFolder = folder.path();
        c.pin = &pin;
        form = std::make_unique<wnDemoras>(c);
    }
    QString path() const { return folder.filePath(u"OxDemoras.txt"_s); }
    QStringList rows() const { return form->ListaRows().rows(); }
    void select(int row) { form->Lista()->setCurrentIndex(form->ListaRows().index(row)); }
    void show()
    {
        form->show();
        QVERIFY(QTest::qWaitForWindowExposed(form.get()));
    }
    int reminders() const { return int(sound.played.filter(u"cargardemoras.wav"_s).size()); }

    QTemporaryDir folder;
    test::FakeClock clock;
    test::FakeMessageBoxes boxes;
    test::FakeSound sound;
    test::FakeWindowPin pin;
    Adds adds{AddsServices{.sound = &sound, .messageBoxes = &boxes, .clock = &clock}};
    std::unique_ptr<wnDemoras> form;
};

const QStringList kDefaults{u"Mecanica\t00:00\t"_s, u"Grua\t00:00\t"_s};

} // namespace

class TestWnDemoras : public QObject
{
    Q_OBJECT
    QTemporaryDir m_settings;

private slots:
    // The user's settings go to a folder of the test's own.
    void initTestCase() { qputenv("XDG_CONFIG_HOME", QFile::encodeName(m_settings.path())); }

    void delaysStepByQuarterHours_data()
    {
        QTest::addColumn<QString>("delay");
        QTest::addColumn<int>("minutes");
        QTest::addColumn<QString>("after");
        QTest::newRow("00:00 left shows 00:15") << u"00:00"_s << -15 << u"00:15"_s;
        QTest::newRow("00:30 left") << u"00:30"_s << -15 << u"00:15"_s;
        QTest::newRow("23:45 right wraps") << u"23:45"_s << 15 << u"00:00"_s;
        QTest::newRow("no delay yet") << u"--:--"_s << 15 << u"00:15"_s;
        QTest::newRow("one-digit hour, seconds") << u"9:10:59"_s << 15 << u"09:25"_s;
        QTest::newRow("out of range") << u"25:00"_s << -15 << u"00:15"_s;
    }
    void delaysStepByQuarterHours()
    {
        QFETCH(QString, delay);
        QFETCH(int, minutes);
        QTEST(delays::delayStepped(delay, minutes), "after");
    }

    void loadingTheFile_data()
    {
        QTest::addColumn<QByteArray>("file"); // null: no file
        QTest::addColumn<QStringList>("rows");
        QTest::newRow("no file") << QByteArray() << kDefaults;
        QTest::newRow("only empty names") << QByteArray("\t1\t\r\n\r\n") << kDefaults;
        QTest::newRow("ANSI rows") << QByteArray("Zona1\t00:45\t\r\nGr\xFA"
                                                 "a Norte\t01:30\t\r\n")
                                   << QStringList{u"Zona1\t00:45\t"_s, u"Grúa Norte\t01:30\t"_s};
        QTest::newRow("empty name dropped, missing delay kept")
            << QByteArray("\t01:00\t\r\nSur\r\nOeste\t02:00")
            << QStringList{u"Sur\t\t"_s, u"Oeste\t02:00\t"_s};
        QTest::newRow("fields after the delay dropped")
            << QByteArray("Este\t00:30\tnota\r\nOeste\t01:00\t\r\n")
            << QStringList{u"Este\t00:30\t"_s, u"Oeste\t01:00\t"_s};
    }
    void loadingTheFile()
    {
        QFETCH(QByteArray, file);
        Board b(file);
        QTEST(b.rows(), "rows");
        QCOMPARE(test::readBytes(b.path()), file); // loading never writes
        QVERIFY(!b.form->inputTag());
    }

    // Rows rewritten in place many times are compacted, and stay what was
    // written.
    void manyRowsRewritten()
    {
        QByteArray many;
        for (int i = 0; i < 10000; ++i)
            many += "Zona " + QByteArray::number(i) + "\t00:15\t\r\n";
        Board large(many);
        delays::DelayRows &rows = large.form->ListaRows();
        for (int round = 0; round < 2; ++round)
            for (int i = 0; i < rows.rowCount(); ++i)
                rows.setData(rows.index(i), u"Zona %1\t0%2:00\t"_s.arg(i).arg(round));
        QCOMPARE(large.rows().size(), 10000);
        QCOMPARE(large.rows().first(), u"Zona 0\t01:00\t"_s);
        QCOMPARE(large.rows().last(), u"Zona 9999\t01:00\t"_s);
    }

    void addingAZone_data()
    {
        QTest::addColumn<std::optional<QString>>("typed");
        QTest::addColumn<QString>("remembered"); // in the user's settings
        QTest::addColumn<QString>("added");      // empty: nothing added
        QTest::newRow("nothing remembered")
            << std::optional(u"Centro"_s) << QString() << u"Centro\t--:--\t"_s;
        QTest::newRow("remembered delay")
            << std::optional(u"Centro"_s) << u"01:30"_s << u"Centro\t01:30\t"_s;
        QTest::newRow("remembered without a colon")
            << std::optional(u"Centro"_s) << u"90"_s << u"Centro\t--:--\t"_s;
        QTest::newRow("blank") << std::optional(QString()) << u"01:30"_s << QString();
        QTest::newRow("cancelled") << std::optional<QString>() << u"01:30"_s << QString();
    }
    void addingAZone()
    {
        QFETCH(std::optional<QString>, typed);
        QFETCH(QString, remembered);
        QFETCH(QString, added);
        QSettings(u"Lumaris"_s, u"Orvex"_s).setValue(u"Demoras/Centro"_s, remembered);
        Board b;
        b.boxes.inputs.push_back(typed);
        b.form->ui().cmdListAdd->click();
        QCOMPARE(b.boxes.inputsAsked.size(), size_t(1));
        QCOMPARE(b.boxes.inputsAsked[0],
                 (platform::InputBoxRequest{u"Ingrese el nombre de la zona a agregar:"_s,
                                            u"Agregar Zona"_s, QString()}));
        QCOMPARE(b.rows(), added.isEmpty() ? kDefaults : kDefaults + QStringList{added});
        QVERIFY(!QFile::exists(b.path())); // written at the next send only
    }

    void removingAZone()
    {
        Board b;
        QPushButton *remove = b.form->ui().cmdListRemove;
        remove->click(); // nothing selected: no question
        QVERIFY(b.boxes.asked.empty());
        b.select(0);
        b.boxes.answers = {platform::Answer::No, platform::Answer::Yes};
        remove->click();
        QCOMPARE(b.rows(), kDefaults);
        QCOMPARE(b.boxes.asked[0],
                 (platform::MessageBoxRequest{QString(), u"Esta seguro de eliminar esta zona?"_s,
                                              platform::BoxIcon::None, platform::BoxButtons::YesNo,
                                              platform::DefaultButton::Second}));
        // The text box was bound to the row that goes: it must not write the
        // delay into the row that takes its place.
        b.form->ui().InputDemora->setText(u"05:00"_s);
        remove->click();
        b.select(0);
        QCOMPARE(b.rows(), QStringList{u"Grua\t00:00\t"_s});
    }

    void theKeyboardDrivesTheBoard()
    {
        Board b(QByteArray("Grua\t00:00\t\r\nMecanica\t01:00\t\r\n"));
        b.show();
        QListView *list = b.form->Lista();
        QLineEdit *input = b.form->ui().InputDemora;
        b.select(0);
        for (const Qt::Key k : {Qt::Key_Right, Qt::Key_Right, Qt::Key_Left})
            QTest::keyClick(list, k);
        QCOMPARE(input->text(), u"00:15"_s);
        QCOMPARE(list->currentIndex().row(), 0); // not moved sideways
        QVERIFY(list->hasFocus());
        // Down moves to the next zone: the first keeps its new delay.
        QTest::keyClick(list, Qt::Key_Down);
        QCOMPARE(input->text(), u"01:00"_s);
        // A close request saves and is refused.
        QVERIFY(!b.form->close());
        QVERIFY(b.form->isVisible());
        QCOMPARE(test::readBytes(b.path()), QByteArray("Grua\t00:15\t\r\nMecanica\t01:00\t\r\n"));
        QTest::keyClick(input, Qt::Key_Left); // keys in the box work alike
        QVERIFY(list->hasFocus());
        QTest::keyClick(list, Qt::Key_Return); // Enter sends
        QCOMPARE(test::readBytes(b.path()), QByteArray("Grua\t00:15\t\r\nMecanica\t00:45\t\r\n"));
        QVERIFY(!b.form->isVisible());
        QVERIFY(b.form->TimerScan().isActive());
    }

    // Sent again unchanged, the file is left alone for half an hour, then
    // rewritten so that the centre sees the delays as current.
    void sendWritesTheAnsiFileAndRefreshesItAfterHalfAnHour()
    {
        const QByteArray expected = "Gr\xFA"
                                    "a Norte\t01:30\t\r\n";
        Board b(QByteArray("Gr\xFA"
                           "a Norte\t01:00\t\r\n"));
        b.select(0);
        b.form->ui().InputDemora->setText(u"01:30"_s);
        QVERIFY(b.form->InputDemora_KeyDown(Qt::Key_Return, {})); // swallowed
        QCOMPARE(test::readBytes(b.path()), expected);
        QCOMPARE(b.form->LastSaved, b.clock.now());
        const QDateTime written = QFileInfo(b.path()).lastModified();

        b.clock.advanceMinutes(29);
        b.form->ui().cmdEnviar->click();
        QCOMPARE(QFileInfo(b.path()).lastModified(), written);
        QCOMPARE(b.form->LastSaved, b.clock.now()); // but the send counts
        b.clock.advanceMinutes(1);
        QVERIFY(b.form->GuardarDemoras(QString::fromLatin1(expected)));
        QCOMPARE(QFileInfo(b.path()).lastModified(), b.clock.now());
        QCOMPARE(test::readBytes(b.path()), expected);
    }

    // Stale after 20 minutes: pinned on top with one reminder, unpinned once
    // sent.
    void staleDelaysPinTheBoardAndRemindOnce()
    {
        Board b;
        b.form->TimerScan_Timer(); // never sent: stale at once
        b.form->TimerScan_Timer();
        QCOMPARE(b.pin.changes, QStringList{u"pin"_s});
        QCOMPARE(b.reminders(), 1);
        b.form->cmdEnviar_Click();
        b.form->TimerScan_Timer();
        QCOMPARE(b.pin.changes, (QStringList{u"pin"_s, u"unpin"_s}));
        b.clock.advanceMinutes(20);
        b.form->TimerScan_Timer();
        QVERIFY(!b.pin.pinned);
        b.clock.advanceMinutes(1);
        b.form->TimerScan_Timer();
        QVERIFY(b.pin.pinned);
        QCOMPARE(b.reminders(), 2);
    }

    // Moved off the centre on both axes, the board comes back with a
    // reminder, then gives six ticks of grace.
    void aBoardMovedAwayComesBackEveryMinute()
    {
        Board b;
        b.form->cmdEnviar_Click(); // fresh delays: only the position matters
        b.show();
        const QPoint centred = b.form->centredPosition();
        QCOMPARE(b.form->pos(), centred);
        const auto ticks = [&](int n) {
            for (int i = 0; i < n; ++i)
                b.form->TimerScan_Timer();
        };
        b.form->move(centred + QPoint(40, 0)); // sideways only: stays
        ticks(8);
        QCOMPARE(b.form->pos(), centred + QPoint(40, 0));
        QCOMPARE(b.reminders(), 0);
        b.form->move(centred + QPoint(40, 30));
        ticks(1);
        QCOMPARE(b.form->pos(), centred);
        QCOMPARE(b.reminders(), 1);
        b.form->move(centred + QPoint(-50, -20));
        ticks(6);
        QCOMPARE(b.form->pos(), centred + QPoint(-50, -20));
        ticks(1);
        QCOMPARE(b.form->pos(), centred);
        QCOMPARE(b.reminders(), 2);
    }
};

QTEST_MAIN(TestWnDemoras)
#include "tst_wndemoras.moc"
