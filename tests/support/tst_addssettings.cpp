#include "common/TestSupport.h"
#include "support/AddsSettings.h"

#include <QtTest>

using namespace Qt::StringLiterals;
using orvex::test::readBytes;
using orvex::test::writeBytes;

class TestAddsSettings : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    const QString m_a = m_dir.filePath(u"a.ini"_s);
    const QString m_b = m_dir.filePath(u"b.ini"_s);
    const QString kDot = u"\u00B7"_s;

    QString get(orvex::AddsSettings &s) { return s.INI_GetString(u"S"_s, u"K"_s, kDot); }

private slots:
    void init()
    {
        QVERIFY(QDir::setCurrent(m_dir.path()));
        QVERIFY(writeBytes(m_a, "[s]\r\nk=from a\r\n"));
        QVERIFY(writeBytes(m_b, "[s]\r\nk=from b\r\n"));
        QVERIFY(writeBytes(u"ab"_s, "[s]\r\nk=from ab\r\n"));
    }

    void shortNameLoadsNothing()
    {
        orvex::AddsSettings settings{{}};
        QCOMPARE(settings.INI_GetString(u"s"_s, u"k"_s, u" d "_s), u"d"_s);
        settings.INI_SetFileName(u"ab"_s);
        QCOMPARE(settings.INI_FileName, QVariant(QString()));
        QCOMPARE(get(settings), kDot);
        settings.INI_PutString(u"s"_s, u"k"_s, u"2"_s);
        QCOMPARE(get(settings), u"2"_s);
        settings.INI_PurgeBuffer();
        QCOMPARE(readBytes(u"ab"_s), QByteArray("[s]\r\nk=from ab\r\n"));
    }

    void lastFileName()
    {
        orvex::AddsSettings settings{{}};
        settings.INI_SetFileName(m_a);
        settings.INI_SetLastFileName();
        QCOMPARE(get(settings), kDot);
        settings.INI_SetFileName(m_a);
        settings.INI_SetFileName(m_b);
        QCOMPARE(get(settings), u"from b"_s);
        for (int twice = 0; twice < 2; ++twice) {
            settings.INI_SetLastFileName();
            QCOMPARE(settings.INI_FileName, QVariant(m_a));
            QCOMPARE(get(settings), u"from a"_s);
        }
    }

    void putString()
    {
        orvex::AddsSettings settings{{}};
        settings.INI_SetFileName(m_a);
        QCOMPARE(settings.INI_PutString(u"s"_s, u"k"_s, u"A\u00F1o"_s), qint16(0));
        QCOMPARE(readBytes(m_a), QByteArray("[s]\r\nk=A\xF1o\r\n"));
        // Neither the same value again, blank names nor a deferred write touch the file.
        QVERIFY(writeBytes(m_a, "changed"));
        settings.INI_PutString(u"s"_s, u"k"_s, u" A\u00F1o "_s);
        settings.INI_PutString(u" "_s, u"k"_s, u"x"_s);
        settings.INI_PutString(u"s"_s, u" "_s, u"x"_s);
        settings.INI_PutString(u"s"_s, u"n"_s, u"1"_s, true);
        QCOMPARE(readBytes(m_a), QByteArray("changed"));
        settings.INI_SetFileName(m_b);
        QCOMPARE(readBytes(m_a), QByteArray("[s]\r\nk=A\xF1o\r\nn=1\r\n"));
        QCOMPARE(settings.INI_DeleteAppName(u"S"_s), QVariant(true));
        QCOMPARE(readBytes(m_b), QByteArray());
    }
};

QTEST_GUILESS_MAIN(TestAddsSettings)
#include "tst_addssettings.moc"
