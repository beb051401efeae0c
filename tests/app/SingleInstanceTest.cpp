#include "app/SingleInstance.h"
#include "platform/fault/Fault.h"

#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

class SingleInstanceTest : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_folder;

private slots:
    void theSecondCallsTheFirst_data()
    {
        QTest::addColumn<QString>("first");
        QTest::addColumn<QString>("second");
        QTest::addColumn<bool>("same");
        const QString folder = m_folder.path();
        QVERIFY(QFile::link(folder, folder + u"/link"_s));
        QTest::newRow("one name") << folder + u"/new/a.ini"_s << folder + u"/new/a.ini"_s << true;
        QTest::newRow("another name for it") << folder + u"/a.ini"_s << folder + u"/link/../a.ini"_s << true;
        QTest::newRow("through a link") << folder + u"/a.ini"_s << folder + u"/link/a.ini"_s << true;
        QTest::newRow("another file") << folder + u"/a.ini"_s << folder + u"/b.ini"_s << false;
    }
    void theSecondCallsTheFirst()
    {
        QFETCH(QString, first);
        QFETCH(QString, second);
        QFETCH(bool, same);
        const SingleInstance one(first);
        QVERIFY(one.isFirst()); // also where the row before it has ended
        QSignalSpy again(&one, &SingleInstance::startedAgain);
        const SingleInstance other(second);
        QCOMPARE(other.isFirst(), !same);
        if (same) {
            QVERIFY(other.callFirst());
            QTRY_COMPARE(again.count(), 1);
        }
    }

    void aFolderThatCannotBeMadeIsAFault()
    {
        QFile file(m_folder.filePath(u"file"_s));
        QVERIFY(file.open(QIODevice::WriteOnly));
        QVERIFY_EXCEPTION_THROWN(SingleInstance(file.fileName() + u"/settings.ini"_s), Fault);
    }
};

QTEST_GUILESS_MAIN(SingleInstanceTest)
#include "SingleInstanceTest.moc"
