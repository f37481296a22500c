#include "app/helpers/AgentHarness.h"
#include "delays/wnDemoras.h"
#include "ui_wnDemoras.h"

#include <QListView>
#include <QSettings>
#include <QtTest>

using namespace orvex;
using namespace Qt::StringLiterals;

namespace {

// The agent's program folder with its reminder sound, and the board on it,
// reading remembered delays from the user's settings as the agent does.
struct Board : test::AgentHarness
{
    explicit Board(const QByteArray &file = QByteArray()) : AgentHarness({})
    {
        if (!file.isNull())
            test::writeBytes(delays(), file);
        form = std::make_unique<wnDemoras>(wnDemorasContext{.adds = adds.get(),
                                                            .boxes = &boxes,
                                                            .programFolder = folder.path(),
                                                            .pin = &pin,
                                                            .savedDelay = {}});
    }
    QString delays() const { return path(u"OxDemoras.txt"_s); }
    QStringList rows() const { return form->ListaRows().rows(); }
    void select(int row) { form->Lista()->setCurrentIndex(form->ListaRows().index(row)); }

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

    // Loading never writes; rows without a name go, a missing delay is
    // kept, fields after the delay are dropped.
    void loadingTheFile()
    {
        const QByteArray file =
            u"Grúa Norte\t01:30\tnota\r\n\t01:00\t\r\nSur\r\nOeste\t02:00"_s.toLatin1();
        Board b(file);
        QCOMPARE(b.rows(),
                 (QStringList{u"Grúa Norte\t01:30\t"_s, u"Sur\t\t"_s, u"Oeste\t02:00\t"_s}));
        QCOMPARE(test::readBytes(b.delays()), file);
    }

    // A zone added takes the delay remembered for it, if it looks like one;
    // the file is written at the next send only.
    void addingAZone()
    {
        QSettings(u"Lumaris"_s, u"Orvex"_s).setValue(u"Demoras/Centro"_s, u"90"_s);
        QSettings(u"Lumaris"_s, u"Orvex"_s).setValue(u"Demoras/Este"_s, u"01:30"_s);
        Board b;
        b.boxes.inputs = {u"Centro"_s, QString(), u"Este"_s};
        for (int i = 0; i < 3; ++i)
            b.form->ui().cmdListAdd->click();
        QCOMPARE(b.rows(), kDefaults + QStringList({u"Centro\t--:--\t"_s, u"Este\t01:30\t"_s}));
        QVERIFY(!QFile::exists(b.delays()));
    }

    // Removal asks first; the text box bound to the row that goes must not
    // write its delay into the row that takes its place.
    void removingAZone()
    {
        Board b;
        QPushButton *remove = b.form->ui().cmdListRemove;
        remove->click(); // nothing selected: no question
        QVERIFY(b.boxes.asked.empty());
        b.select(0);
        b.boxes.answers = {platform::Answer::No, platform::Answer::Yes};
        remove->click(); // answered No: one row is left at the end, not none
        b.form->ui().InputDemora->setText(u"05:00"_s);
        remove->click();
        b.select(0);
        b.form->Lista_Click();
        QCOMPARE(b.rows(), QStringList{u"Grua\t00:00\t"_s});
        b.boxes.inputs = {u"Sur"_s};
        b.form->ui().cmdListAdd->click();
        b.boxes.answers = {platform::Answer::Yes, platform::Answer::Yes};
        remove->click(); // its bound row goes: the box is bound to none
        remove->click(); // and stays so
        QCOMPARE(b.rows(), QStringList());
    }

    // Arrows step the delay and Down moves on, keeping it; a close request
    // saves and is refused; Enter sends and hides.
    void theKeyboardDrivesTheBoard()
    {
        Board b(QByteArray("Grua\t00:00\t\r\nMecanica\t01:00\t\r\n"));
        b.form->show();
        QVERIFY(QTest::qWaitForWindowExposed(b.form.get()));
        QListView *list = b.form->Lista();
        QLineEdit *input = b.form->ui().InputDemora;
        b.select(0);
        for (const Qt::Key k : {Qt::Key_Right, Qt::Key_Right, Qt::Key_Left, Qt::Key_Down})
            QTest::keyClick(list, k);
        QCOMPARE(input->text(), u"01:00"_s);
        QVERIFY(!b.form->close()); // refused
        QCOMPARE(test::readBytes(b.delays()), QByteArray("Grua\t00:15\t\r\nMecanica\t01:00\t\r\n"));
        QTest::keyClick(input, Qt::Key_Left); // keys in the box work alike
        QVERIFY(list->hasFocus());
        input->setFocus();
        b.form->ui().cmdListRemove->click(); // answered No: the list has the keys again
        QVERIFY(list->hasFocus());
        QTest::keyClick(list, Qt::Key_Return);
        QCOMPARE(test::readBytes(b.delays()), QByteArray("Grua\t00:15\t\r\nMecanica\t00:45\t\r\n"));
        QVERIFY(!b.form->isVisible());
    }

    // Sent again unchanged, the file is left alone for half an hour, then
    // rewritten so that the centre sees the delays as current.
    void sendWritesTheAnsiFileAndRefreshesItAfterHalfAnHour()
    {
        const QByteArray expected = u"Grúa Norte\t01:30\t\r\n"_s.toLatin1();
        Board b(u"Grúa Norte\t01:00\t\r\n"_s.toLatin1());
        b.select(0);
        b.form->ui().InputDemora->setText(u"01:30"_s);
        QVERIFY(b.form->InputDemora_KeyDown(Qt::Key_Return, {})); // swallowed
        QCOMPARE(test::readBytes(b.delays()), expected);
        const QDateTime written = QFileInfo(b.delays()).lastModified();
        b.clock.advanceMinutes(29);
        b.form->ui().cmdEnviar->click();
        QCOMPARE(QFileInfo(b.delays()).lastModified(), written);
        QCOMPARE(b.form->LastSaved, b.clock.now()); // but the send counts
        b.clock.advanceMinutes(1);
        QVERIFY(b.form->GuardarDemoras(QString::fromLatin1(expected)));
        QCOMPARE(QFileInfo(b.delays()).lastModified(), b.clock.now());
    }

    // Stale after 20 minutes: pinned on top with one reminder, unpinned once
    // sent.
    void staleDelaysPinTheBoardAndRemindOnce()
    {
        Board b;
        b.form->TimerScan_Timer(); // never sent: stale at once
        b.form->TimerScan_Timer(); // no second reminder: two in all at the end
        b.form->cmdEnviar_Click();
        b.clock.advanceMinutes(20);
        b.form->TimerScan_Timer();
        QCOMPARE(b.pin.changes, (QStringList{u"pin"_s, u"unpin"_s}));
        b.clock.advanceMinutes(1);
        b.form->TimerScan_Timer();
        QCOMPARE(b.pin.changes, (QStringList{u"pin"_s, u"unpin"_s, u"pin"_s}));
        QCOMPARE(b.sound.played.filter(u"cargardemoras.wav"_s).size(), 2);
    }
};

QTEST_MAIN(TestWnDemoras)
#include "tst_wndemoras.moc"
