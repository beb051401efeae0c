#include "platform/registry/FileRegistry.h"
#include "platform/fault/Fault.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

class FileRegistryTest : public QObject
{
    Q_OBJECT

private:
    const QString m_path = uR"(HKEY_LOCAL_MACHINE\Software\Maker\Product\Value)"_s;

private slots:
    void textReadsBackAsTheSameText_data()
    {
        QTest::addColumn<QString>("text");
        QTest::newRow("empty") << u""_s;
        QTest::newRow("blanks at both ends") << u"  +8613800 "_s;
        QTest::newRow("connection string")
            << uR"(Provider=SQLite;Data Source="C:\oa\new db.db";Password=a=b#c)"_s;
        QTest::newRow("quote in front") << u"\"half"_s;
        QTest::newRow("line ends and NUL") << u"a\r\nb\n[c]\nd=e\0f"_s;
        QTest::newRow("comment signs") << u";#"_s;
        QTest::newRow("100,000 characters, chinese and emoji") << QString(100000, u'长') + u"😀"_s;
    }
    void textReadsBackAsTheSameText()
    {
        QFETCH(QString, text);
        const QTemporaryDir folder;
        FileRegistry registry(folder.filePath(u"deep/er/settings.ini"_s));
        QCOMPARE(registry.read(m_path), u""_s); // nor is there a file
        const QString neighbour = QString(m_path).replace(u"Value"_s, u"Walue"_s);
        registry.write(neighbour, u"kept"_s);
        registry.write(m_path, u"before"_s);
        registry.write(m_path, text);
        QCOMPARE(FileRegistry(registry.fileName()).read(m_path), text);
        QCOMPARE(registry.read(neighbour), u"kept"_s);
        const auto others = QFile::ReadGroup | QFile::WriteGroup | QFile::ReadOther | QFile::WriteOther;
        QVERIFY(!(QFile::permissions(registry.fileName()) & others));
    }

    void aWriteChangesItsLineAlone()
    {
        const QTemporaryDir folder;
        FileRegistry registry(folder.filePath(u"settings.ini"_s));
        const QByteArray before =
            "; \xcb\xd1 by hand\r\n[other]\nValue=1\n#Value=2\n"
            "[HKEY_LOCAL_MACHINE\\Software\\Maker\\Product]\n # of ours\n value = x \nValue= 3\n\n"
            "[last]\nValue=4\n";
        QFile written(registry.fileName());
        QVERIFY(written.open(QIODevice::WriteOnly) && written.write(before) > 0);
        written.close();
        registry.write(m_path, u"5"_s);
        registry.write(QString(m_path).replace(u"Value"_s, u"Added"_s), u"6"_s);
        QVERIFY(written.open(QIODevice::ReadOnly));
        QCOMPARE(written.readAll(), QByteArray(before).replace("Value= 3\n", "Value=5\nAdded=6\n"));
    }

    void failedWriteIsAFault()
    {
        const QTemporaryDir folder;
        // A folder is where the file should be: not even root can write it.
        FileRegistry registry(folder.filePath(u"settings.ini"_s));
        QVERIFY(QDir(folder.path()).mkdir(u"settings.ini"_s));
        QVERIFY_EXCEPTION_THROWN(registry.write(m_path, u"x"_s), Fault);
    }
};

QTEST_GUILESS_MAIN(FileRegistryTest)
#include "FileRegistryTest.moc"
