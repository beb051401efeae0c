#include "app/CommandLine.h"

#include "foundation/Settings.h"

#include <QCommandLineParser>
#include <QFileInfo>
#include <QRegularExpression>
#include <QStandardPaths>

using namespace Qt::StringLiterals;

namespace
{

// The server starts itself so.
constexpr QLatin1String collectMailOption("collect-mail");
constexpr QLatin1String tryModemOption("try-modem");

void describe(QCommandLineParser &parser)
{
    for (const QString &name : {QString(collectMailOption), QString(tryModemOption)}) {
        QCommandLineOption hidden(name);
        hidden.setFlags(QCommandLineOption::HiddenFromHelp);
        parser.addOption(hidden);
    }
    parser.setApplicationDescription(u"办公系统的短信平台服务器：通过 GSM 短信猫收发短信并归档。\n"
                                     "不带选项时打开窗口，等待操作。"_s);
    parser.addOptions({
        {{u"h"_s, u"help"_s}, u"显示这份说明。"_s},
        {{u"v"_s, u"version"_s}, u"显示版本。"_s},
        {u"start"_s, u"窗口打开后自动启动服务。"_s},
        {u"hidden"_s, u"窗口先不显示。"_s},
        {u"headless"_s, u"不需要显示器；日志同时输出到标准错误，提示框变为日志行。"_s},
        {u"settings"_s,
         u"使用这个参数文件（否则用环境变量 SMS_SERVER_SETTINGS，再否则用本用户配置文件夹中的）。"_s,
         u"文件"_s},
        {u"set"_s,
         u"检查并写入一个参数，然后结束；可以写多次。ConnectString=- 从标准输入读取。"
         "名称：%1。COMn 是 COM 端口 n 的设备。"_s.arg(Settings::shortNames().join(u", "_s)),
         u"名称=值"_s},
        {u"show-settings"_s, u"显示参数（密码不显示），然后结束。"_s},
        {u"skip-old-mail"_s, u"第一次启动之前：已有的邮件不再提醒任何用户，然后结束。"_s},
        {u"check"_s,
         u"试数据库、短信猫和邮箱，指出问题和处理办法，不改动任何数据，然后结束：0 全部正常，1 有问题。"_s},
        {u"status"_s, u"询问用这份参数文件运行的服务现在怎样，然后结束：0，没有在运行时 1。"_s},
        {u"explain"_s,
         u"说明一条短信走到了哪里、为什么在等、结果怎样、为什么失败，然后结束：waiting OAID、queue OAID 或 "
         "sent SOAID [号码]（SOAID 为 -1 的单条短信按号码查）。失败的原因取自日志：运行中的服务的，或 "
         "--log-file 指出的。"_s,
         u"种类 编号"_s},
        {u"demo"_s, u"用示例办公室和模拟的短信猫演示，然后结束。"_s},
        {u"find-modem"_s,
         u"列出串口和各串口上的短信猫，然后结束；后面写 COMn 时把找到的设备写入这个参数。"_s},
        {u"send-test"_s, u"不经过队列，直接用短信猫发一条短信（号码后面写内容），说明结果，然后结束。"_s,
         u"号码"_s},
        {u"log-file"_s, u"把每一行日志追加到这个文件。"_s, u"文件"_s},
        {u"metrics"_s, u"把监控数据（Prometheus 文本格式）写入这个文件，每五秒更新。"_s, u"文件"_s},
        {u"trace"_s, u"在标准错误显示与短信猫和邮件服务器的往来，密码不显示。"_s},
        {u"screenshot"_s, u"结束时把主窗口的图片（PNG）存入这个文件。"_s, u"文件"_s},
    });
}

/// Takes --explain and what follows it out of the arguments: an OAID of -1 is no option.
std::variant<std::optional<Question>, WrongUsage> takeQuestion(QStringList &arguments)
{
    const qsizetype option = arguments.indexOf(u"--explain"_s);
    if (option < 0)
        return std::nullopt;
    Question question;
    static const QStringList kinds{u"waiting"_s, u"queue"_s, u"sent"_s};
    const qsizetype kind = kinds.indexOf(arguments.value(option + 1));
    bool isNumber = false;
    question.about = Question::About(kind);
    question.id = arguments.value(option + 2).toLongLong(&isNumber);
    qsizetype words = 3;
    const bool isSent = question.about == Question::About::Sent;
    if (const QString number = arguments.value(option + words); isSent && !number.startsWith(u'-')) {
        question.number = number;
        ++words;
    }
    if (kind < 0 || !isNumber)
        return WrongUsage{u"--explain 后面要写 waiting OAID、queue OAID 或 sent SOAID [号码]"_s};
    if (isSent && question.id == -1 && question.number.isEmpty())
        return WrongUsage{u"--explain sent -1 后面要写号码"_s};
    arguments.remove(option, qMin(words, arguments.size() - option));
    return question;
}

/// The working folder may go while the server runs.
QString absolute(const QString &file)
{
    return file.isEmpty() ? file : QFileInfo(file).absoluteFilePath();
}

QString settingsFile(const QString &named)
{
    if (!named.isEmpty())
        return absolute(named);
    if (const QString file = qEnvironmentVariable("SMS_SERVER_SETTINGS"); !file.isEmpty())
        return absolute(file);
    return QStandardPaths::writableLocation(QStandardPaths::ConfigLocation) + u"/sms-server/settings.ini"_s;
}

} // namespace

std::variant<CommandLine, WrongUsage> readCommandLine(int argc, char **argv)
{
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments += QString::fromLocal8Bit(argv[i]);
    const auto question = takeQuestion(arguments);
    if (const auto *wrong = std::get_if<WrongUsage>(&question))
        return *wrong;
    QCommandLineParser parser;
    describe(parser);
    if (!parser.parse(arguments))
        return WrongUsage{parser.errorText()};
    QStringList words = parser.positionalArguments();
    CommandLine line;
    line.help = parser.isSet(u"help"_s);
    line.version = parser.isSet(u"version"_s);
    line.start = parser.isSet(u"start"_s);
    line.hidden = parser.isSet(u"hidden"_s);
    line.headless = parser.isSet(u"headless"_s);
    line.trace = parser.isSet(u"trace"_s);
    line.check = parser.isSet(u"check"_s);
    line.status = parser.isSet(u"status"_s);
    line.demo = parser.isSet(u"demo"_s);
    line.showSettings = parser.isSet(u"show-settings"_s);
    line.skipOldMail = parser.isSet(u"skip-old-mail"_s);
    line.findModem = parser.isSet(u"find-modem"_s);
    line.collectMail = parser.isSet(collectMailOption);
    line.tryModem = parser.isSet(tryModemOption);
    line.testNumber = parser.value(u"send-test"_s);
    static const QRegularExpression comPort(u"^COM[1-9][0-9]{0,2}$"_s);
    if (line.findModem && comPort.match(words.value(0)).hasMatch())
        line.foundPort = words.takeFirst();
    if (parser.isSet(u"send-test"_s)) {
        if (line.testNumber.isEmpty() || words.isEmpty())
            return WrongUsage{u"--send-test 后面要写号码和短信内容"_s};
        line.testText = words.takeFirst();
    }
    if (!words.isEmpty())
        return WrongUsage{u"不认识“%1”"_s.arg(words.constFirst())};
    line.explain = std::get<std::optional<Question>>(question);
    line.settingsFile = settingsFile(parser.value(u"settings"_s));
    line.logFile = absolute(parser.value(u"log-file"_s));
    line.metricsFile = absolute(parser.value(u"metrics"_s));
    line.screenshotFile = parser.value(u"screenshot"_s);
    const QStringList assignments = parser.values(u"set"_s);
    for (const QString &assignment : assignments) {
        const qsizetype equals = assignment.indexOf(u'=');
        const QString name = assignment.left(equals);
        if (equals <= 0 || Settings::pathOf(name).isEmpty())
            return WrongUsage{u"--set 后面要写 名称=值，名称是 --help 列出的，不能是“%1”"_s.arg(name)};
        line.assignments.append({name, assignment.mid(equals + 1)});
    }
    return line;
}

QString commandLineHelp()
{
    QCommandLineParser parser;
    describe(parser);
    return parser.helpText();
}
