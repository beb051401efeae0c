#include "platform/files/Files.h"
#include "platform/fault/Fault.h"
#include "platform/registry/FileRegistry.h"
#include "tests/support/Rows.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <csignal>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

class FilesTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> m_folder;
    QString m_name;
    const QString m_key = uR"(HKEY_LOCAL_MACHINE\Software\Maker\Product\Value)"_s; // of a setting

    static void put(const QString &name, const QByteArray &octets)
    {
        QFile file(name);
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(octets) == octets.size());
    }

private slots:
    void initTestCase() { std::signal(SIGXFSZ, SIG_IGN); }
    void init()
    {
        m_folder = std::make_unique<QTemporaryDir>();
        m_name = m_folder->filePath(u"file"_s);
    }

    void failedWriteLeavesTheOldWhole()
    {
        const QByteArray old = "old\n";
        const QByteArray line = QByteArray(40000, 'x') + '\n';
        const QByteArray path = QFile::encodeName(m_name);
        put(m_name, old);
        QCOMPARE(::chmod(path, 0640), 0);
        const bool isGivenAway = ::chown(path, 1, 2) == 0; // by root alone

        rlimit before = {};
        QCOMPARE(::getrlimit(RLIMIT_FSIZE, &before), 0);
        const rlimit few{20000, before.rlim_max};
        QCOMPARE(::setrlimit(RLIMIT_FSIZE, &few), 0);
        const FileError replacing = replaceSynced(m_name, line);
        const FileError appending = appendSynced(m_name, line);
        QCOMPARE(::setrlimit(RLIMIT_FSIZE, &before), 0);

        QCOMPARE(replacing.text(), u"文件超过允许的大小"_s);
        QCOMPARE(appending.text(), replacing.text());
        QCOMPARE(readWhole(m_name).octets, old);
        QCOMPARE(QDir(m_folder->path()).entryList(QDir::Files), QStringList{u"file"_s});
        // What it was is told, and the next ones are taken.
        QCOMPARE(appendSynced(m_name, "more\n").text(), QString());
        QCOMPARE(readWhole(m_name).octets, old + "more\n");
        QCOMPARE(replaceSynced(m_name, "new\n").text(), QString());
        QCOMPARE(readWhole(m_name).octets, QByteArray("new\n"));
        struct stat now = {};
        QCOMPARE(::stat(path, &now), 0);
        QCOMPARE(now.st_mode & 07777U, 0640U);
        QVERIFY(!isGivenAway || (now.st_uid == 1 && now.st_gid == 2));
    }

    void tornEnd()
    {
        const QByteArray line = QByteArray(4095, 'x') + '\n'; // as long as it is read in one
        for (const QByteArray &whole : {QByteArray(), line, line + "two\n"}) {
            for (const int torn : {0, 1, 4096, 10000}) {
                put(m_name, whole + QByteArray(torn, 't'));
                qint64 size = 0;
                QCOMPARE(appendSynced(m_name, "next\n", &size).text(), QString());
                QCOMPARE(readWhole(m_name).octets, whole + "next\n");
                QCOMPARE(size, whole.size() + 5);
            }
        }
    }

    void notAFile_data()
    {
        // target: of the link; none: a folder. words: none: it is made where the link points to.
        const Rows<QString, QString> row("target", "words");
        row("folder", {}, u"是文件夹，不是文件"_s);
        row("link to itself", u"file"_s, u"链接指向自身"_s);
        row("link to a missing folder", u"gone/other"_s, u"文件或文件夹不存在"_s);
        row("link to a link to a missing file", u"between"_s, {});
    }
    void notAFile()
    {
        QFETCH(QString, target);
        QFETCH(QString, words);
        const QString other = m_folder->filePath(u"other"_s);
        QVERIFY(QFile::link(other, m_folder->filePath(u"between"_s)));
        QVERIFY(target.isEmpty() ? QDir().mkdir(m_name) : QFile::link(target, m_name));
        QCOMPARE(replaceSynced(m_name, "new\n").text(), words);
        QCOMPARE(appendSynced(m_name, "more\n").text(), words);
        if (!words.isEmpty()) {
            QVERIFY_EXCEPTION_THROWN(FileRegistry(m_name).write(m_key, u"x"_s), Fault);
            return;
        }
        QVERIFY(QFileInfo(m_name).isSymLink());
        QCOMPARE(readWhole(other).octets, QByteArray("new\nmore\n"));
        QCOMPARE(QFile::permissions(other) & QFile::Permissions(0x0077), QFile::Permissions());
    }

    void textReadsBackAsTheSameText()
    {
        FileRegistry registry(m_folder->filePath(u"deep/er/settings.ini"_s));
        QCOMPARE(registry.read(m_key), u""_s); // nor is there a file
        const QString neighbour = QString(m_key).replace(u"Value"_s, u"Walue"_s);
        registry.write(neighbour, u"kept"_s);
        for (const QString &text :
             {u"before"_s, u""_s, u"  +8613800 "_s, u"\"half"_s, u"a\r\nb\n[c]\nd=e\0f"_s, u";#"_s,
              uR"(Provider=SQLite;Data Source="C:\oa\new db.db";Password=a=b#c)"_s,
              QString(100000, u'长') + u"😀"_s}) {
            registry.write(m_key, text);
            QCOMPARE(FileRegistry(registry.fileName()).read(m_key), text);
        }
        QCOMPARE(registry.read(neighbour), u"kept"_s);
        const auto others = QFile::ReadGroup | QFile::WriteGroup | QFile::ReadOther | QFile::WriteOther;
        QVERIFY(!(QFile::permissions(registry.fileName()) & others));
    }

    void aWriteChangesItsLineAlone()
    {
        FileRegistry registry(m_name);
        const QByteArray before =
            "; \xcb\xd1 by hand\r\n[other]\nValue=1\n#Value=2\n"
            "[HKEY_LOCAL_MACHINE\\Software\\Maker\\Product]\n # of ours\n value = x \nValue= 3\n\n"
            "[last]\nValue=4\n";
        put(m_name, before);
        registry.write(m_key, u"5"_s);
        registry.write(QString(m_key).replace(u"Value"_s, u"Added"_s), u"6"_s);
        QCOMPARE(readWhole(m_name).octets, QByteArray(before).replace("Value= 3\n", "Value=5\nAdded=6\n"));
    }
};

QTEST_GUILESS_MAIN(FilesTest)
#include "FilesTest.moc"
