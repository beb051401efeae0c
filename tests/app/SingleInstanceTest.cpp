#include "app/SingleInstance.h"

#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

class SingleInstanceTest : public QObject
{
    Q_OBJECT

private slots:
    void oneForEachFileByWhateverName()
    {
        const QTemporaryDir folder;
        const QString link = folder.filePath(u"link"_s);
        QVERIFY(QFile::link(folder.path(), link));
        const SingleInstance first(folder.filePath(u"new/a.ini"_s)); // its folder is made
        QVERIFY(first.isFirst());
        QSignalSpy again(&first, &SingleInstance::startedAgain);
        const SingleInstance byLink(link + u"/new/../new/a.ini"_s);
        QVERIFY(!byLink.isFirst() && byLink.callFirst().contains(u"窗口"_s));
        QTRY_COMPARE(again.count(), 1);
        QVERIFY(SingleInstance(folder.filePath(u"new/b.ini"_s)).isFirst());
    }
};

QTEST_GUILESS_MAIN(SingleInstanceTest)
#include "SingleInstanceTest.moc"
