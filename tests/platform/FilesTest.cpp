#include "platform/files/Files.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <csignal>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

/// On a small file system of its own, where root may mount one.
class FilesTest : public QObject
{
    Q_OBJECT

private:
    const QTemporaryDir m_folder;
    const QString m_name = m_folder.filePath(u"file"_s);
    bool m_isSmall = false; // 16 pages

    static void put(const QString &name, const QByteArray &octets)
    {
        QFile file(name);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(octets); // what does not fit is left out
    }
    [[nodiscard]] bool remount(unsigned long flags) const
    {
        return ::mount("tmpfs", QFile::encodeName(m_folder.path()), "tmpfs", MS_REMOUNT | flags,
                       "size=64k") == 0;
    }

private slots:
    void initTestCase()
    {
        m_isSmall =
            ::mount("tmpfs", QFile::encodeName(m_folder.path()), "tmpfs", 0, "size=64k,mode=0755") == 0;
        std::signal(SIGXFSZ, SIG_IGN);
    }
    void cleanupTestCase()
    {
        if (m_isSmall)
            ::umount(QFile::encodeName(m_folder.path()));
    }
    void init()
    {
        QDir folder(m_folder.path());
        for (const QString &left : folder.entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::System))
            QVERIFY(folder.remove(left) || folder.rmdir(left));
    }

    void failedWriteLeavesTheOldWhole_data()
    {
        QTest::addColumn<QString>("words");
        QTest::newRow("full") << u"磁盘已满"_s;
        QTest::newRow("read-only") << u"磁盘只读"_s;
        QTest::newRow("another's") << u"没有权限"_s;
        QTest::newRow("largest size") << u"文件超过允许的大小"_s;
    }
    void failedWriteLeavesTheOldWhole()
    {
        QFETCH(QString, words);
        const bool isFull = words.contains(u"满"_s);
        const bool isReadOnly = words.contains(u"只读"_s);
        const bool isForeign = words.contains(u"权限"_s);
        if (!m_isSmall && words != u"文件超过允许的大小"_s)
            QSKIP("only root may mount a small file system");
        const QByteArray old = "old\n";
        const QByteArray line = QByteArray(40000, 'x') + '\n';
        const QByteArray path = QFile::encodeName(m_name);
        put(m_name, old);
        QCOMPARE(::chmod(path, 0640), 0);
        if (m_isSmall)
            QCOMPARE(::chown(path, 1, 2), 0);

        rlimit before = {};
        QCOMPARE(::getrlimit(RLIMIT_FSIZE, &before), 0);
        const rlimit few{20000, before.rlim_max};
        QVERIFY(!isFull || (put(m_folder.filePath(u"filler"_s), QByteArray(50000, 'f')), true));
        QVERIFY(!isReadOnly || remount(MS_RDONLY));
        QVERIFY(!isForeign || ::seteuid(3) == 0);
        QVERIFY(isFull || isReadOnly || isForeign || ::setrlimit(RLIMIT_FSIZE, &few) == 0);
        const FileError replacing = replaceSynced(m_name, line);
        const FileError appending = appendSynced(m_name, line);
        QVERIFY(!isForeign || ::seteuid(0) == 0);
        QVERIFY(!isReadOnly || remount(0));
        QCOMPARE(::setrlimit(RLIMIT_FSIZE, &before), 0);
        QFile::remove(m_folder.filePath(u"filler"_s));

        QCOMPARE(replacing.text(), words);
        QCOMPARE(appending.text(), words);
        QCOMPARE(readWhole(m_name).octets, old);
        QCOMPARE(QDir(m_folder.path()).entryList(QDir::Files), QStringList{u"file"_s});
        // What it was is told, and the next ones are taken.
        QCOMPARE(appendSynced(m_name, "more\n").text(), QString());
        QCOMPARE(readWhole(m_name).octets, old + "more\n");
        QCOMPARE(replaceSynced(m_name, "new\n").text(), QString());
        QCOMPARE(readWhole(m_name).octets, QByteArray("new\n"));
        struct stat now = {};
        QCOMPARE(::stat(path, &now), 0);
        QCOMPARE(now.st_mode & 07777U, 0640U);
        QVERIFY(!m_isSmall || (now.st_uid == 1 && now.st_gid == 2));
    }

    void notAFile_data()
    {
        QTest::addColumn<QString>("words"); // "": it is made where the link points to
        QTest::newRow("folder") << u"是文件夹，不是文件"_s;
        QTest::newRow("link to itself") << u"链接指向自身"_s;
        QTest::newRow("link to a missing folder") << u"文件或文件夹不存在"_s;
        QTest::newRow("link to a missing file") << u""_s;
        QTest::newRow("link to a link to a file") << u""_s;
    }
    void notAFile()
    {
        QFETCH(QString, words);
        const QString row = QString::fromLatin1(QTest::currentDataTag());
        const QString other = m_folder.filePath(u"other"_s);
        if (row == u"folder")
            QVERIFY(QDir().mkdir(m_name));
        else if (row == u"link to itself")
            QVERIFY(QFile::link(u"file"_s, m_name));
        else if (row == u"link to a missing folder")
            QVERIFY(QFile::link(u"gone/other"_s, m_name));
        else if (row == u"link to a missing file")
            QVERIFY(QFile::link(u"other"_s, m_name));
        else
            QVERIFY(QFile::link(u"between"_s, m_name) && QFile::link(other, m_folder.filePath(u"between"_s)));
        QCOMPARE(replaceSynced(m_name, "new\n").text(), words);
        QCOMPARE(appendSynced(m_name, "more\n").text(), words);
        if (!words.isEmpty())
            return;
        QVERIFY(QFileInfo(m_name).isSymLink());
        QCOMPARE(readWhole(other).octets, QByteArray("new\nmore\n"));
        QCOMPARE(QFile::permissions(other) & QFile::Permissions(0x0077), QFile::Permissions());
    }
};

QTEST_GUILESS_MAIN(FilesTest)
#include "FilesTest.moc"
