#include "app/Terminal.h"

#include "platform/fault/Fault.h"

#include <QCoreApplication>
#include <QLibraryInfo>
#include <QTranslator>

using namespace Qt::StringLiterals;

void print(FILE *stream, const QString &text)
{
    std::fputs(text.toUtf8().constData(), stream);
    std::fflush(stream);
}

int statusOf(const std::function<int()> &work)
{
    try {
        return work();
    } catch (const Fault &fault) {
        print(stderr, fault.message() + u'\n');
        return 1;
    }
}

void translateLibrary()
{
    static QTranslator translator;
    if (translator.load(u"qtbase_zh_CN"_s, QLibraryInfo::path(QLibraryInfo::TranslationsPath)))
        QCoreApplication::installTranslator(&translator);
}

void dropRemarks()
{
    qInstallMessageHandler([](QtMsgType type, const QMessageLogContext &, const QString &message) {
        if (type == QtCriticalMsg || type == QtFatalMsg)
            print(stderr, message + u'\n');
    });
}
