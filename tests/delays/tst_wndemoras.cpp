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
#include <QRandomGenerator>
#include <QtTest>

using namespace orvex;
using namespace Qt::StringLiterals;

namespace {

// A program folder with the reminder sound, and the board on it.
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
        c.savedDelay = [this](const QString &zone) { return saved.value(zone); };
        form = std::make_unique<wnDemoras>(c);
    }
    QString path() const { return folder.filePath(u"OxDemoras.txt"_s); }
    QStringList rows() const { return form->ListaRows().rows(); }
    void select(int row) { form->Lista()->setCurrentIndex(form->ListaRows().index(row)); }
    void key(QWidget *to, Qt::Key k) { QTest::keyClick(to, k); }
    int reminders() const { return int(sound.played.filter(u"cargardemoras.wav"_s).size()); }

    QTemporaryDir folder;
    test::FakeClock clock;
    test::FakeMessageBoxes boxes;
    test::FakeSound sound;
    test::FakeWindowPin pin;
    QMap<QString, QString> saved;
    Adds adds{AddsServices{.sound = &sound, .messageBoxes = &boxes, .clock = &clock}};
    std::unique_ptr<wnDemoras> form;
};

const QStringList kDefaults{u"Mecanica\t00:00\t"_s, u"Grua\t00:00\t"_s};

} // namespace

class TestWnDemoras : public QObject
{
    Q_OBJECT
private slots:
    void delaysStepByQuarterHours_data()
    {
        QTest::addColumn<QString>("delay");
        QTest::addColumn<int>("minutes");
        QTest::addColumn<QString>("after");
        QTest::newRow("00:00 left shows 00:15") << u"00:00"_s << -15 << u"00:15"_s;
        QTest::newRow("00:15 left") << u"00:15"_s << -15 << u"00:00"_s;
        QTest::newRow("00:30 left") << u"00:30"_s << -15 << u"00:15"_s;
        QTest::newRow("23:45 right wraps") << u"23:45"_s << 15 << u"00:00"_s;
        QTest::newRow("01:30 right") << u"01:30"_s << 15 << u"01:45"_s;
        QTest::newRow("no time right") << u"abc"_s << 15 << u"00:15"_s;
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
        QTest::newRow("empty file") << QByteArray("") << kDefaults;
        QTest::newRow("rows") << QByteArray("Zona1\t00:45\t\r\nGr\xFA"
                                            "a Norte\t01:30\t\r\n")
                              << QStringList{u"Zona1\t00:45\t"_s, u"Grúa Norte\t01:30\t"_s};
        QTest::newRow("empty name dropped, missing delay kept")
            << QByteArray("\t01:00\t\r\nSur\r\nOeste\t02:00")
            << QStringList{u"Sur\t\t"_s, u"Oeste\t02:00\t"_s};
        QTest::newRow("only empty names") << QByteArray("\t1\t\r\n\r\n") << kDefaults;
        QTest::newRow("fields after the delay dropped")
            << QByteArray("Este\t00:30\tnota\r\nOeste\t01:00\t\r\n")
            << QStringList{u"Este\t00:30\t"_s, u"Oeste\t01:00\t"_s};
    }
    void loadingTheFile()
    {
        QFETCH(QByteArray, file);
        Board b(file);
        QTEST(b.rows(), "rows");
        // Loading never writes the file.
        QCOMPARE(QFile::exists(b.path()), !file.isNull());
        QCOMPARE(test::readBytes(b.path()), file);
        QVERIFY(!b.form->inputTag());
    }

    void largeAndBrokenFilesLoad()
    {
        QByteArray many;
        for (int i = 0; i < 10000; ++i)
            many += "Zona " + QByteArray::number(i) + "\t00:15\t\r\n";
        Board large(many);
        QCOMPARE(large.rows().size(), 10000);
        // Every row written again, twice: the rows stay what was written.
        delays::DelayRows &rows = large.form->ListaRows();
        for (int round = 0; round < 2; ++round)
            for (int i = 0; i < rows.rowCount(); ++i)
                rows.setData(rows.index(i), u"Zona %1\t0%2:00\t"_s.arg(i).arg(round));
        QCOMPARE(large.rows().value(9999), u"Zona 9999\t01:00\t"_s);
        QCOMPARE(large.rows().value(0), u"Zona 0\t01:00\t"_s);
        QByteArray noise(200000, '\0');
        for (char &c : noise)
            c = char(QRandomGenerator::global()->bounded(256));
        Board b(noise);
        QVERIFY(!b.rows().isEmpty());
        for (const QString &r : b.rows())
            QVERIFY(!delays::rowName(r).isEmpty() && r.endsWith(u'\t'));
    }

    void addingAZone_data()
    {
        QTest::addColumn<std::optional<QString>>("typed");
        QTest::addColumn<QString>("saved");
        QTest::addColumn<QString>("added"); // empty: nothing added
        QTest::newRow("nothing stored")
            << std::optional(u"Centro"_s) << QString() << u"Centro\t--:--\t"_s;
        QTest::newRow("stored delay")
            << std::optional(u"Centro"_s) << u"01:30"_s << u"Centro\t01:30\t"_s;
        QTest::newRow("stored without a colon")
            << std::optional(u"Centro"_s) << u"90"_s << u"Centro\t--:--\t"_s;
        QTest::newRow("blank") << std::optional(QString()) << QString() << QString();
        QTest::newRow("cancelled") << std::optional<QString>() << QString() << QString();
    }
    void addingAZone()
    {
        QFETCH(std::optional<QString>, typed);
        QFETCH(QString, saved);
        QFETCH(QString, added);
        Board b;
        b.saved[u"Centro"_s] = saved;
        b.boxes.inputs.push_back(typed);
        b.form->cmdListAdd_Click();
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
        b.form->cmdListRemove_Click(); // nothing selected: no question
        QVERIFY(b.boxes.asked.empty());
        b.select(0);
        b.boxes.answers = {platform::Answer::No, platform::Answer::Yes};
        b.form->cmdListRemove_Click();
        QCOMPARE(b.rows(), kDefaults);
        QCOMPARE(b.boxes.asked[0],
                 (platform::MessageBoxRequest{QString(), u"Esta seguro de eliminar esta zona?"_s,
                                              platform::BoxIcon::None, platform::BoxButtons::YesNo,
                                              platform::DefaultButton::Second}));
        // The text box was bound to the row that goes: it must not write the
        // delay into the row that takes its place.
        b.form->ui().InputDemora->setText(u"05:00"_s);
        b.form->cmdListRemove_Click();
        QCOMPARE(b.rows(), QStringList{u"Grua\t00:00\t"_s});
        b.select(0);
        QCOMPARE(b.rows(), QStringList{u"Grua\t00:00\t"_s});
    }

    void theKeyboardDrivesTheBoard()
    {
        Board b(QByteArray("Grua\t00:00\t\r\nMecanica\t01:00\t\r\n"));
        b.form->show();
        QVERIFY(QTest::qWaitForWindowExposed(b.form.get()));
        QListView *list = b.form->Lista();
        b.select(0);
        QCOMPARE(b.form->ui().InputDemora->text(), u"00:00"_s);
        b.key(list, Qt::Key_Right);
        b.key(list, Qt::Key_Right);
        b.key(list, Qt::Key_Left);
        QCOMPARE(b.form->ui().InputDemora->text(), u"00:15"_s);
        QCOMPARE(list->currentIndex().row(), 0); // not moved sideways
        QVERIFY(list->hasFocus());
        // Down moves to the next zone: the first keeps its new delay.
        b.key(list, Qt::Key_Down);
        QCOMPARE(b.form->ui().InputDemora->text(), u"01:00"_s);
        b.key(b.form->ui().InputDemora, Qt::Key_Left); // keys in the box work alike
        QVERIFY(list->hasFocus());
        b.key(list, Qt::Key_Return); // Enter sends
        QCOMPARE(test::readBytes(b.path()), QByteArray("Grua\t00:15\t\r\nMecanica\t00:45\t\r\n"));
        QVERIFY(!b.form->isVisible());
        QVERIFY(b.form->TimerScan().isActive());
    }

    void sendWritesTheAnsiFileAndRefreshesItAfterHalfAnHour()
    {
        Board b(QByteArray("Gr\xFA"
                           "a Norte\t01:00\t\r\n"));
        b.select(0);
        b.form->ui().InputDemora->setText(u"01:30"_s);
        b.form->InputDemora_KeyDown(Qt::Key_Return, {});
        const QByteArray expected = "Gr\xFA"
                                    "a Norte\t01:30\t\r\n";
        QCOMPARE(test::readBytes(b.path()), expected);
        QCOMPARE(b.form->LastSaved, b.clock.now());
        const QDateTime written = QFileInfo(b.path()).lastModified();

        b.clock.advanceMinutes(29);
        b.form->show();
        b.form->cmdEnviar_Click(); // the same text, 29 minutes on: left alone
        QCOMPARE(QFileInfo(b.path()).lastModified(), written);
        QCOMPARE(b.form->LastSaved, b.clock.now()); // but the send counts
        b.clock.advanceMinutes(1);
        QVERIFY(b.form->GuardarDemoras(QString::fromLatin1(expected)));
        QCOMPARE(QFileInfo(b.path()).lastModified(), b.clock.now());
        QCOMPARE(test::readBytes(b.path()), expected);
    }

    void staleDelaysPinTheBoardAndRemindOnce()
    {
        Board b;
        b.form->TimerScan_Timer(); // never sent: stale at once
        QCOMPARE(b.pin.changes, QStringList{u"pin"_s});
        QCOMPARE(b.reminders(), 1);
        b.form->TimerScan_Timer();
        QCOMPARE(b.reminders(), 1);
        b.form->cmdEnviar_Click();
        b.form->TimerScan_Timer();
        QCOMPARE(b.pin.changes, (QStringList{u"pin"_s, u"unpin"_s}));
        b.clock.advanceMinutes(20);
        b.form->TimerScan_Timer(); // 20 minutes is still fresh
        QVERIFY(!b.pin.pinned);
        b.clock.advanceMinutes(1);
        b.form->TimerScan_Timer();
        QVERIFY(b.pin.pinned);
        QCOMPARE(b.reminders(), 2);
    }

    void aBoardMovedAwayComesBackEveryMinute()
    {
        Board b;
        b.form->cmdEnviar_Click(); // fresh delays: only the position matters
        b.form->show();
        QVERIFY(QTest::qWaitForWindowExposed(b.form.get()));
        const QPoint centred = b.form->centredPosition();
        QCOMPARE(b.form->pos(), centred);
        b.form->move(centred + QPoint(40, 0)); // sideways only: stays
        for (int i = 0; i < 8; ++i)
            b.form->TimerScan_Timer();
        QCOMPARE(b.form->pos(), centred + QPoint(40, 0));
        QCOMPARE(b.reminders(), 0);
        b.form->move(centred + QPoint(40, 30));
        b.form->TimerScan_Timer();
        QCOMPARE(b.form->pos(), centred);
        QCOMPARE(b.reminders(), 1);
        QCOMPARE(b.form->Countdown, 6);
        b.form->move(centred + QPoint(-50, -20));
        for (int i = 0; i < 6; ++i)
            b.form->TimerScan_Timer();
        QCOMPARE(b.form->pos(), centred + QPoint(-50, -20)); // six ticks of grace
        b.form->TimerScan_Timer();
        QCOMPARE(b.form->pos(), centred);
        QCOMPARE(b.reminders(), 2);
    }

    void aCloseRequestSavesAndIsRefused()
    {
        Board b;
        b.form->show();
        QVERIFY(QTest::qWaitForWindowExposed(b.form.get()));
        b.form->ListaRows().setData(b.form->ListaRows().index(1), u"Grua\t02:15\t"_s);
        QVERIFY(!b.form->close());
        QVERIFY(b.form->isVisible());
        QCOMPARE(test::readBytes(b.path()), QByteArray("Mecanica\t00:00\t\r\nGrua\t02:15\t\r\n"));
        QCOMPARE(b.form->LastSaved, b.clock.now());
    }

    // Run by hand under a real display (ORVEX_SCREENSHOTS=folder) to look at
    // the board as a dispatcher sees it.
    void pictureOfTheBoard()
    {
        const QString folder = qEnvironmentVariable("ORVEX_SCREENSHOTS");
        if (folder.isEmpty())
            QSKIP("ORVEX_SCREENSHOTS names no folder for pictures");
        Board b(QByteArray("Mecanica\t00:45\t\r\nGr\xFA"
                           "a\t01:30\t\r\nGr\xFA"
                           "a Norte (pesada)\t02:15\t\r\nCentro\t--:--\t\r\n"));
        b.form->show();
        QVERIFY(QTest::qWaitForWindowExposed(b.form.get()));
        b.select(1);
        b.key(b.form->Lista(), Qt::Key_Right);
        QVERIFY(b.form->grab().save(folder + u"/delay-board.png"_s));
    }
};

QTEST_MAIN(TestWnDemoras)
#include "tst_wndemoras.moc"
