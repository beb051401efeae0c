#include "database/NamedLock.h"
#include "platform/fault/Fault.h"
#include "tests/support/Office.h"
#include "tests/support/ScriptedPop3Server.h"
#include "tests/support/TextTable.h"

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

/// One line of a scenario and the rows indented below it, as cellsOf() parts them.
struct ScenarioStep {
    QString text;
    QList<QStringList> rows;
    int line = 0;
};

/// What an office does and what its tables and log then hold, as a text tells it.
struct Scenario {
    QString name;  ///< with the case's, where there are cases
    QString place; ///< "on every schema", "on SQLite", "on servers" or, as a rule, nothing
    QList<ScenarioStep> steps;
    bool isFirstCase = true; ///< what every database is tried with, as a rule; the others on SQLite
};

Scenario scenarioOf(const QString &name, const QList<TextLine> &lines)
{
    Scenario scenario{name, {}, {}};
    for (const auto &[number, text] : lines) {
        if (text.startsWith(u' '))
            scenario.steps.last().rows += cellsOf(text.trimmed());
        else if (text.startsWith(u"on "))
            scenario.place = text;
        else
            scenario.steps += {text, {}, number};
    }
    return scenario;
}

/// The lines with a case's values in place of the columns' names.
QList<TextLine> filledIn(const QList<TextLine> &lines, const QStringList &columns, const QStringList &values)
{
    static const QRegularExpression placeholderAlone(u"^ *<[^<]*>$"_s);
    QList<TextLine> filled;
    for (const auto &[number, line] : lines) {
        QString text = line;
        for (qsizetype i = 1; i < columns.size(); ++i)
            text.replace(u'<' + columns[i] + u'>', values[i]);
        if (!line.contains(placeholderAlone))
            filled += {number, text};
        else if (text.trimmed() != u"-")
            for (const QString &row : text.trimmed().split(u" / "_s))
                filled += {number, line.section(u'<', 0, 0) + (row.contains(u'|') ? unquoted(row) : row)};
    }
    return filled;
}

/// A block's scenarios: one, or one of each case.
QList<Scenario> scenariosOf(const QString &name, const QList<TextLine> &lines)
{
    const auto isHead = [](const TextLine &line) { return line.text.startsWith(u"cases: "); };
    const auto head = std::find_if(lines.cbegin(), lines.cend(), isHead);
    const QList<TextLine> steps = lines.first(head - lines.cbegin());
    if (head == lines.cend())
        return {scenarioOf(name, steps)};
    QList<Scenario> scenarios;
    const QStringList columns = cellsOf(head->text.section(u": "_s, 1));
    for (auto line = head + 1; line != lines.cend(); ++line) {
        const QStringList cells = cellsOf(line->text.trimmed());
        if (cells.size() != columns.size())
            throw Fault(u"%1: %2 cells in \"%3\""_s.arg(name).arg(cells.size()).arg(line->text));
        scenarios += scenarioOf(name + u", "_s + cells[0], filledIn(steps, columns, cells));
        scenarios.last().isFirstCase = line == head + 1;
    }
    return scenarios;
}

/// The scenarios of a file. "== NAME" begins one; "#" begins a comment; "on ..." says where it runs. "cases: name |
/// X | Y" and its rows at the end make one of each row, with <X> and <Y> replaced; a row that is a placeholder
/// alone becomes as many rows as the value has, separated by " / " and each in double quotes where it has several
/// cells, and none for "-". Throws std::runtime_error for a file that cannot be read.
QList<Scenario> readScenarios(const QString &fileName)
{
    QList<std::pair<QString, QList<TextLine>>> blocks;
    for (const TextLine &line : textLines(fileName)) {
        if (line.text.startsWith(u"== "))
            blocks += {QFileInfo(fileName).baseName() + u": "_s + line.text.sliced(3), {}};
        else
            blocks.last().second += line;
    }
    QList<Scenario> scenarios;
    for (const auto &[name, lines] : std::as_const(blocks))
        scenarios += scenariosOf(name, lines);
    return scenarios;
}

/// Does what the steps of a scenario say.
///
///   given TABLE: COLUMN | ...      rows of the OA system's, indented below; NULL is null
///   then TABLE: COLUMN | ...       all rows of the table, in the order of their keys
///   log                            what was logged since the last such line; "*" stands for anything. A scenario
///                                  ends with nothing else logged
///   panels TEXT | TEXT | ...       status, to send, succeeded, failed
///   sent                           "number | text" of what the modem has sent, indented below
///   expand send archive alert collect    one tick each, in the order written
///   receive SENDER | TEXT          a message arrives, sent at 06:00:00, the next at :01, ..., and is handled
///   modem COMMAND                  for the simulated modem
///   mailbox USER: FILE ...         the user has an account with these mails
///   oa STATEMENT                   anything else that the OA system does
///   at question N, STATEMENT       ... when a pass asks for the Nth time whether it shall end; "stop": it shall
///   refuse EVENT TABLE [COLUMN=VALUE]    the database refuses to insert, update or delete; on SQLite "ignore" too
///   allow                          it does not any more
///   advance SECONDS                the clock
///   set NAME=VALUE                 a setting of the server's own
///   held LOCK                      another server holds this lock; without a name it lets go
///   beside several|alone           another server works on the database in this way; without a word it has ended
class Play
{
public:
    explicit Play(Office &office) : m_office(office) {}

    /// What the step found otherwise than written; "" when all is well.
    QString perform(const ScenarioStep &step)
    {
        const QString verb = step.text.section(QRegularExpression(u"[ :]"_s), 0, 0);
        const QString rest = step.text.sliced(verb.size()).trimmed();
        if (verb == u"given")
            m_office.add(tableOf(rest), columnsOf(rest).join(u", "_s), joined(step.rows));
        else if (verb == u"then")
            return compared(m_office.table(tableOf(rest), columnsOf(rest).join(u", "_s)), joined(step.rows));
        else if (verb == u"log")
            return comparedLog(m_office.console.takeLog(), joined(step.rows));
        else if (verb == u"panels")
            return compared(panels(), {joined({cellsOf(rest)})});
        else if (verb == u"sent")
            return compared(sent(), joined(step.rows));
        else if (verb == u"receive")
            return received(rest);
        else if (verb == u"modem")
            m_office.simulator().command(rest);
        else if (verb == u"mailbox")
            openMailbox(rest);
        else if (verb == u"oa")
            m_office.oa(rest);
        else if (verb == u"at")
            atQuestion(rest.section(u' ', 1).section(u',', 0, 0).toInt(), rest.section(u", "_s, 1));
        else if (verb == u"refuse" || verb == u"ignore")
            m_office.refuse(rest.section(u' ', 0, 0), rest.section(u' ', 1, 1),
                            rest.section(u' ', 2).section(u'=', 0, 0), rest.section(u'=', 1),
                            verb == u"ignore");
        else if (verb == u"allow")
            m_office.allowAll();
        else if (verb == u"set")
            m_office.set(rest.section(u'=', 0, 0), cellText(rest.section(u'=', 1)));
        else if (verb == u"held")
            holdElsewhere(rest);
        else if (verb == u"beside")
            workBeside(rest);
        else if (verb == u"advance")
            m_office.clock.advanceSeconds(rest.toInt());
        else
            for (const QString &pass : step.text.split(u' '))
                tick(pass);
        return {};
    }

private:
    static QString tableOf(const QString &head) { return head.section(u':', 0, 0); }
    static QStringList columnsOf(const QString &head) { return cellsOf(head.section(u':', 1).trimmed()); }
    static QStringList joined(const QList<QStringList> &rows)
    {
        QStringList lines;
        for (const QStringList &row : rows) {
            QStringList texts;
            for (const QString &cell : row)
                texts += cellText(cell);
            lines += texts.join(u'|');
        }
        return lines;
    }
    static QString compared(const QStringList &found, const QStringList &wanted)
    {
        return found == wanted
                   ? QString()
                   : u"found\n  %1\nwanted\n  %2"_s.arg(found.join(u"\n  "_s), wanted.join(u"\n  "_s));
    }
    static QString comparedLog(const QStringList &found, const QStringList &wanted)
    {
        bool isEqual = found.size() == wanted.size();
        for (qsizetype i = 0; isEqual && i < found.size(); ++i) {
            const QString pattern = QRegularExpression::escape(wanted[i]).replace(u"\\*"_s, u".*"_s);
            isEqual = QRegularExpression(QRegularExpression::anchoredPattern(pattern),
                                         QRegularExpression::DotMatchesEverythingOption)
                          .match(found[i])
                          .hasMatch();
        }
        return isEqual ? QString() : compared(found, wanted + QStringList(u"(log)"_s));
    }

    void tick(const QString &name)
    {
        using Pass = void (ServicePasses::*)();
        static const QHash<QString, Pass> passes{{u"expand"_s, &ServicePasses::expand},
                                                 {u"send"_s, &ServicePasses::send},
                                                 {u"archive"_s, &ServicePasses::archive},
                                                 {u"alert"_s, &ServicePasses::alert},
                                                 {u"collect"_s, &ServicePasses::collect}};
        if (!passes.contains(name))
            throw Fault(u"no such step: "_s + name);
        if (name == u"send")
            m_office.simulator();
        m_asked = 0;
        ServicePasses &service = m_office.passes();
        (service.*passes[name])();
        if (!QTest::qWaitFor([&] { return !service.isCollecting() && !service.isSending(); }, 20'000))
            throw Fault(u"the pass does not end"_s);
    }
    QString received(const QString &rest)
    {
        const QStringList cells = cellsOf(rest);
        m_office.passes();
        SimulatorProcess &simulator = m_office.simulator();
        simulator.command(
            u"deliver --time 2006-03-05T06:00:%1+08:00 %2 %3"_s.arg(m_received++, 2, 10, QChar(u'0'))
                .arg(cells[0], cellText(cells[1])));
        return QTest::qWaitFor([&] { return simulator.isEmpty(); }) ? QString()
                                                                    : u"the message stayed in the modem"_s;
    }
    QStringList sent()
    {
        QStringList lines;
        for (const SentMessage &message : m_office.simulator().sentWhole())
            lines += message.number + u'|' + message.text;
        return lines;
    }
    QStringList panels() const
    {
        using Panel = OperatorConsole::Panel;
        QStringList texts;
        for (const Panel panel : {Panel::Status, Panel::ToSend, Panel::Succeeded, Panel::Failed})
            texts += m_office.console.panelText(panel);
        return {texts.join(u'|')};
    }
    void openMailbox(const QString &rest)
    {
        ScriptedPop3Server::Script script;
        for (const QString &name : rest.section(u": "_s, 1).split(u' ')) {
            QFile file(QStringLiteral(SCENARIO_FOLDER) + u'/' + name);
            if (!file.open(QIODevice::ReadOnly))
                throw Fault(u"cannot read "_s + name);
            script.messages += file.readAll().replace('\n', "\r\n");
            script.uids += name.section(u'.', 0, 0).toUtf8();
        }
        const auto &server = m_mailboxes.emplace_back(std::make_unique<ScriptedPop3Server>(script));
        m_office.addRow(u"SA_email"_s, u"UserName, POPIP, PopPort, EUsername, EPassword, IsBaoLiu"_s,
                        {tableOf(rest), u"127.0.0.1"_s, server->port(), u"box"_s, u"p'w"_s, 1});
    }
    void atQuestion(int number, const QString &statement)
    {
        m_office.console.stopWhen = [this, number, statement] {
            if (++m_asked == number)
                statement == u"stop" ? m_isStopped = true : (m_office.oa(statement), false);
            return m_isStopped;
        };
    }
    void holdElsewhere(const QString &lock)
    {
        m_lock.reset();
        if (lock.isEmpty())
            return;
        m_otherServer.open(m_office.connectString());
        m_lock.emplace(m_otherServer);
        if (!m_lock->tryTake(lock))
            throw Fault(lock + u" is held"_s);
    }
    void workBeside(const QString &way)
    {
        m_otherServer.close();
        if (way.isEmpty())
            return;
        m_otherServer.open(m_office.connectString());
        if (!m_otherServer.takePlace(way == u"several"))
            throw Fault(u"there is no place beside this server"_s);
    }

    Office &m_office;
    Connection m_otherServer;
    std::optional<NamedLock> m_lock;
    std::vector<std::unique_ptr<ScriptedPop3Server>> m_mailboxes;
    int m_received = 0; // the next one's second
    int m_asked = 0;    // in this tick
    bool m_isStopped = false;
};

constexpr std::array schemas{std::pair("", SchemaKind::Sample),
                             std::pair(", padded texts", SchemaKind::PaddedTexts),
                             std::pair(", numbers and zones", SchemaKind::NumbersZoned)};

bool isPlayed(const Scenario &scenario, DatabaseRoute route, SchemaKind kind)
{
    if (scenario.place == u"on every schema")
        return true;
    if (kind != SchemaKind::Sample || isOdbc(route))
        return false;
    if (route == DatabaseRoute::Sqlite)
        return scenario.place != u"on servers";
    return scenario.place == u"on servers" || (scenario.place.isEmpty() && scenario.isFirstCase);
}

} // namespace

/// Every scenario beside this file, on real databases.
class ScenarioTest : public QObject
{
    Q_OBJECT

private:
    QList<Scenario> m_scenarios;

private slots:
    void initTestCase() { qputenv("TZ", "Asia/Shanghai"); } // not the servers' zone

    void play_data()
    {
        QTest::addColumn<int>("scenario");
        QTest::addColumn<DatabaseRoute>("route");
        QTest::addColumn<SchemaKind>("kind");
        const QDir folder(QStringLiteral(SCENARIO_FOLDER));
        for (const QString &name : folder.entryList({u"*.scenario"_s}))
            m_scenarios += readScenarios(folder.filePath(name));
        for (int i = 0; i < m_scenarios.size(); ++i)
            for (const auto &[routeName, route] : databaseRoutes)
                for (const auto &[schemaName, kind] : schemas)
                    if (isPlayed(m_scenarios[i], route, kind))
                        QTest::addRow("%s [%s%s]", qPrintable(m_scenarios[i].name), routeName, schemaName)
                            << i << route << kind;
    }
    void play()
    {
        QFETCH(int, scenario);
        QFETCH(DatabaseRoute, route);
        QFETCH(SchemaKind, kind);
        Office office(route, kind);
        Play play(office);
        for (const ScenarioStep &step : std::as_const(m_scenarios[scenario].steps)) {
            const QString problem = play.perform(step);
            QVERIFY2(problem.isEmpty(), qPrintable(u"line %1: %2"_s.arg(step.line).arg(problem)));
        }
        QCOMPARE(office.console.takeLog(), QStringList());
    }
};

QTEST_GUILESS_MAIN(ScenarioTest)
#include "ScenarioTest.moc"
