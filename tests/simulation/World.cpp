#include "tests/simulation/World.h"

#include "simulator/controls/ControlCommands.h"
#include "tests/simulation/MemoryDisk.h"
#include "tests/simulation/MemoryLine.h"
#include "tests/simulation/VirtualTime.h"

#include <QDateTime>
#include <QFile>
#include <QSqlError>
#include <QSqlQuery>
#include <QTimer>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace
{

constexpr qsizetype pieceLength = 70;

/// The pieces of a long text as their receiver reads them, counted anew here.
QStringList piecesOf(QString text)
{
    QStringList pieces;
    for (int piece = 1; !text.isEmpty() || pieces.isEmpty(); ++piece) {
        pieces += text.left(pieceLength);
        text = text.size() > pieceLength ? u"续%1："_s.arg(piece) + text.mid(pieceLength) : QString();
    }
    return pieces;
}

QString textOf(const QString &id, int length)
{
    QString text = u"#%1 "_s.arg(id);
    for (int i = 0; i == 0 || text.size() < length; ++i)
        text += i % 20 == 19 ? id : QString(QChar(u'一' + (i * 7 + length) % 500));
    return text;
}

QString localText(std::chrono::seconds delay)
{
    return QDateTime::currentDateTime().addSecs(delay.count()).toString(u"yyyy-MM-dd HH:mm:ss"_s);
}

const QString &confirmationOf(const QString &code)
{
    static const QMap<QString, QString> texts{
        {u"DYNB"_s, u"办公提示：您已经成功订阅了内部邮件短信通知功能。"_s},
        {u"QXNB"_s, u"办公提示：您已经成功取消了内部邮件短信通知功能。"_s},
        {u"DYRC"_s, u"办公提示：您已经成功订阅了日程短信提醒功能。"_s},
        {u"QXRC"_s, u"办公提示：您已经成功取消了日程短信提醒功能。"_s}};
    return *texts.constFind(code);
}

/// Who switches services on and off, so that nobody can say which mail he is told of.
bool isFickle(const QString &user)
{
    return user == u"u1" || user == u"u2";
}

/// The office's tables with its people, made once.
const QByteArray &emptyOffice()
{
    static const QByteArray image = [] {
        MemoryDisk::instance().restart(0);
        QSqlDatabase made = QSqlDatabase::addDatabase(u"QSQLITE"_s, u"made"_s);
        made.setDatabaseName(World::databaseFile());
        made.open();
        QFile schema(QStringLiteral(SIMULATION_SCHEMA));
        if (!schema.open(QIODevice::ReadOnly))
            qFatal("no schema at %s", qUtf8Printable(schema.fileName()));
        QStringList statements = QString::fromUtf8(schema.readAll()).split(u';', Qt::SkipEmptyParts);
        for (int user = 1; user <= 6; ++user)
            statements += u"insert into VO_UserInfor (UserName, Mobile, TureName, AccountState) "
                          "values ('u%1', '%2', '同事%1', '1')"_s.arg(user)
                              .arg(World::numberOf(u"u%1"_s.arg(user)));
        for (const QString &type : {u"NB"_s, u"WB"_s, u"RC"_s})
            statements +=
                u"insert into SMS_Order (OrderName, OrderCode, DisOrderCode, IsOrder, isPulic) "
                "values ('%1%2', 'DY%1', 'QX%1', '1', '1')"_s.arg(type, type == u"RC" ? u"GL" : u"YJ");
        for (const QString &statement : statements) {
            QSqlQuery query(made);
            if (!statement.trimmed().isEmpty() && !query.exec(statement))
                qFatal("%s: %s", qUtf8Printable(statement), qUtf8Printable(query.lastError().text()));
        }
        made.close();
        return MemoryDisk::instance().find(World::databaseFile().toUtf8())->content;
    }();
    return image;
}

} // namespace

QString World::numberOf(const QString &user)
{
    return u"+8613800138"_s + user.mid(1).rightJustified(3, u'0');
}

World::World(int servers)
{
    const QByteArray &image = emptyOffice();
    MemoryDisk &disk = MemoryDisk::instance();
    MemoryDisk::FilePtr file;
    static_cast<void>(disk.open(databaseFile().toUtf8(), true, file));
    static_cast<void>(disk.write(file, 0, image));
    static_cast<void>(disk.sync(file));
    static_cast<void>(disk.syncFolder());
    m_office = QSqlDatabase::addDatabase(u"QSQLITE"_s, u"office"_s);
    m_other = QSqlDatabase::addDatabase(u"QSQLITE"_s, u"other"_s);
    reopen();
    for (int server = 1; server <= servers; ++server)
        addModem(server);
}

World::~World()
{
    for (QSqlDatabase *database : {&m_office, &m_other}) {
        const QString name = database->connectionName();
        database->close();
        *database = {};
        QSqlDatabase::removeDatabase(name);
    }
}

void World::reopen()
{
    for (QSqlDatabase *database : {&m_office, &m_other}) {
        database->close();
        database->setDatabaseName(databaseFile());
        database->setConnectOptions(u"QSQLITE_BUSY_TIMEOUT=0"_s);
        database->open();
        QSqlQuery(u"pragma synchronous=extra"_s, *database);
    }
}

void World::addModem(int server)
{
    ModemOnDesk desk{std::make_unique<simulator::Modem>(makeModemEnd(u"modem%1"_s.arg(server)), QString()),
                     std::make_unique<simulator::ControlTable>()};
    simulator::Modem &modem = *desk.modem;
    simulator::addControls(*desk.controls, modem);
    modem.submits().setListener([this, server](const simulator::SubmitRecord &record) {
        m_truth.handedOver.push_back({server, now(), record.tpdu.number, record.tpdu.text, !record.refused});
        if (Crashes &crashes = m_crashes[server]; crashes.left > 0) {
            --crashes.left;
            perform(u"kill %1 0 %2"_s.arg(server).arg(crashes.pause));
        }
    });
    m_modems.push_back(std::move(desk));
    for (const QString &command : {u"storage-size 20"_s, u"latency 1500"_s, u"baud 115200"_s})
        static_cast<void>(m_modems.back().controls->run(command));
    modem.line().plug();
}

Truth::Time World::now() const
{
    return std::chrono::duration_cast<Truth::Time>(VirtualTime::instance().now());
}

bool World::oa(const QString &sql, const QVariantList &values, int *changed) const
{
    QSqlQuery query(m_office);
    query.prepare(sql);
    for (const QVariant &value : values)
        query.addBindValue(value);
    if (!query.exec())
        return false;
    if (changed != nullptr)
        *changed = query.numRowsAffected();
    return true;
}

QStringList World::rows(const QString &query) const
{
    QStringList rows;
    QSqlQuery reading(m_office);
    if (!reading.exec(query))
        qFatal("the office cannot read its tables: %s", qUtf8Printable(reading.lastError().text()));
    while (reading.next()) {
        QStringList columns;
        for (int column = 0; reading.value(column).isValid(); ++column)
            columns += reading.value(column).toString();
        rows += columns.join(u'|');
    }
    return rows;
}

bool World::isQuiet() const
{
    return std::ranges::all_of(m_modems, [](const ModemOnDesk &desk) {
        return desk.modem->deliveries().waiting() == 0 &&
               desk.modem->state().used(simulator::Memory::Both) == 0;
    });
}

void World::disturb(std::chrono::milliseconds length)
{
    m_truth.disturbances.push_back({now(), now() + length});
}

void World::perform(const QString &words)
{
    const QStringList word = words.split(u' ');
    const QString &what = word.first();
    const auto text = [&](int at) { return word.value(at); };
    const auto number = [&](int at) { return word.value(at).toInt(); };
    if (what == u"waiting")
        schedule(text(1), number(2), number(3), text(4).split(u','));
    else if (what == u"queue")
        queue(text(1), number(2), number(3));
    else if (what == u"sees") {
        if (rows(words.section(u' ', 1)) != QStringList(u"1"_s))
            m_truth.unseen += words;
    } else if (what == u"withdraw")
        withdraw(text(1));
    else if (what == u"postpone")
        postpone(text(1), number(2));
    else if (what == u"mail")
        mail(text(1), text(2) == u"external", text(3));
    else if (what == u"sms")
        receive(text(1), number(2), text(3), text(4));
    else if (what == u"code")
        sendCode(text(1), text(2));
    else if (what == u"modem")
        commandModem(number(1), words.section(u' ', 2));
    else if (what == u"held")
        holdDatabase(number(1));
    else if (what == u"full" || what == u"broken") {
        disturb(std::chrono::seconds(number(2)));
        if (what == u"full")
            MemoryDisk::instance().setFreePages(number(1));
        else
            MemoryDisk::instance().fail(number(1), text(3).toUtf8());
        QTimer::singleShot(std::chrono::seconds(number(2)), Qt::PreciseTimer, this, [what] {
            if (what == u"full")
                MemoryDisk::instance().setFreePages({});
            else
                MemoryDisk::instance().fail(0);
        });
    } else if (what == u"emptied" || what == u"torn" || what == u"mended") {
        spoil(what, text(1).toUtf8(), number(2));
    } else if (what == u"refusing") {
        refuseReceived(number(1));
    } else if (what == u"away") {
        ++m_truth.kills; // its session, with a message in hand
        disturb(std::chrono::seconds(number(2)) + 60s);
        MemoryDisk::instance().cutOff(number(1), databaseFile().toUtf8());
        QTimer::singleShot(std::chrono::seconds(number(2)), Qt::PreciseTimer, this,
                           [] { MemoryDisk::instance().cutOff(0); });
    } else if (what == u"clock") {
        m_truth.isClockMoved = true;
        disturb(24h);
        VirtualTime::instance().moveWallClock(std::chrono::seconds(number(1)));
    } else if (what == u"crash") {
        m_crashes[number(1)] = {number(2), number(3)};
    } else {
        constexpr auto grace = 60s;
        disturb(grace + std::chrono::seconds(word.last().toInt()));
        if (what == u"kill" || what == u"cut")
            ++m_truth.kills;
        m_truth.stops += what == u"stop" ? 1 : 0;
        onServers(word);
    }
}

void World::wants(const QString &id, const QString &number, const QString &text, Truth::Time since,
                  bool isSure)
{
    m_truth.wanted.push_back({id, number, text, since, isSure});
}

void World::schedule(const QString &id, int delay, int length, const QStringList &users)
{
    const QString content = textOf(id, length);
    if (!oa(u"insert into SMS_WaitToSend (ToSendDT, FromUserName, ToUserList, ToNameList, CreateDT, MsgType, "
            "MsgContent) values (?, 'u1', ?, '', ?, '0', ?)"_s,
            {localText(std::chrono::seconds(delay)), users.join(u';'), localText(0s), content}))
        return;
    for (const QString &user : users) {
        const QStringList pieces = piecesOf(content);
        for (const QString &piece : pieces)
            wants(id, numberOf(user), piece, now() + std::chrono::seconds(qMax(0, delay)));
    }
}

void World::queue(const QString &id, int first, int count)
{
    for (int number = first; number < first + count; ++number) {
        const QString to = u"1390000%1"_s.arg(1000 + number);
        const QString content = u"#%1 broadcast"_s.arg(id);
        if (oa(u"insert into SMS_Queues (SOAID, ToMB, MsgContent, MsgStatus) values (7, ?, ?, '0')"_s,
               {to, content}))
            wants(id, to, content, now());
    }
}

void World::withdraw(const QString &id)
{
    int changed = 0;
    if (oa(u"delete from SMS_WaitToSend where MsgContent like ?"_s, {u"#%1 %"_s.arg(id)}, &changed) &&
        changed > 0)
        std::erase_if(m_truth.wanted, [&](const Truth::Wanted &wanted) { return wanted.id == id; });
}

void World::postpone(const QString &id, int delay)
{
    int changed = 0;
    if (!oa(u"update SMS_WaitToSend set ToSendDT=? where MsgContent like ?"_s,
            {localText(std::chrono::seconds(delay)), u"#%1 %"_s.arg(id)}, &changed) ||
        changed == 0)
        return;
    for (Truth::Wanted &wanted : m_truth.wanted) {
        if (wanted.id == id)
            wanted.since = now() + std::chrono::seconds(delay);
    }
}

void World::mail(const QString &id, bool isExternal, const QString &user)
{
    if (!oa(u"insert into VO_Email (EmailSource, EmailStatus, EmailTo, EmailFrom, EmailSubject) "
            "values (?, '1', ?, ?, ?)"_s,
            {isExternal ? u"2"_s : u"1"_s, u"*%1-0-0-0*"_s.arg(user), isExternal ? u"a@b.example"_s : u"u4"_s,
             u"#"_s + id}))
        return;
    const QString alert = isExternal
                              ? u"【办公信息】您收到一封外部新邮件，发件人：a@b.example 邮件标题：#%1"_s
                              : u"【办公信息】您收到一封内部新邮件，发件人：同事4 邮件标题：#%1"_s;
    wants(id, numberOf(user), alert.arg(id), now(), isExternal || !isFickle(user));
}

void World::receive(const QString &id, int length, const QString &user, const QString &order)
{
    const QString text = textOf(id, length);
    commandModem(1, order.isEmpty() ? u"deliver %1 %2"_s.arg(numberOf(user), text)
                                    : u"deliver-parts %1 %2 %3"_s.arg(numberOf(user), order, text));
    m_truth.arrived.push_back({numberOf(user), text, now()});
}

void World::sendCode(const QString &user, const QString &code)
{
    // Nobody writes it twice within a second, and what one network sends so is one message.
    const auto second = std::chrono::floor<std::chrono::seconds>(now());
    if (m_lastCodes.contains(user + code) && m_lastCodes[user + code] == second)
        return;
    m_lastCodes[user + code] = second;
    commandModem(1, u"deliver %1 %2"_s.arg(numberOf(user), code));
    wants(code, numberOf(user).mid(3), confirmationOf(code), now()); // without +86
}

/// A command of the modem's control channel. Those that disturb say for how long at their end, in milliseconds.
void World::commandModem(int modem, const QString &command)
{
    const QString name = command.section(u' ', 0, 0);
    if (name != u"deliver" && name != u"deliver-parts") {
        disturb(5min + std::chrono::milliseconds(command.section(u' ', -1).toInt()));
        // Of the edits those of a text's own answer: "edit 1 > ..."
        const bool isOfText =
            name == u"edit" && QStringList{u">"_s, u"+CMGS"_s}.contains(command.section(u' ', 2, 2));
        if (isOfText || name == u"unplug" || name == u"late" || name == u"restart" || name == u"hang")
            ++m_truth.lostAnswers;
    }
    const auto argument = [&command](int at) { return command.section(u' ', at, at).toInt(); };
    if (name == u"refuse") {
        constexpr int tries = 3;
        const bool isForGood = argument(2) == 1 || argument(2) == 21;
        m_truth.refusals += isForGood ? argument(1) : argument(1) / tries;
    } else if (name == u"refuse-number") {
        m_truth.refusals += argument(2) == 0 ? 0 : 1;
    } else if (name == u"answer") {
        ++m_truth.refusedCommands;
    } else if (name == u"bare-ok") {
        m_truth.bareOks += argument(1);
        m_truth.refusals += argument(1);
    }
    const QString answer = m_modems.at(size_t(modem) - 1).controls->run(command);
    if (!answer.startsWith(u"ok"))
        qFatal("modem: %s: %s", qUtf8Printable(command), qUtf8Printable(answer));
}

/// A hand at a file of the server's, when it is there.
void World::spoil(const QString &how, const QByteArray &name, int octets)
{
    const MemoryDisk::FilePtr file = MemoryDisk::instance().find(name);
    if (!file)
        return;
    if (how == u"mended") {
        file->content = m_spoiled.value(name);
    } else {
        m_spoiled.insert(name, file->content);
        file->content.chop(how == u"torn" ? octets : file->content.size());
    }
    file->synced = file->content;
    file->unsynced.clear();
}

/// The office's database refuses every row of a received message.
void World::refuseReceived(int seconds)
{
    disturb(std::chrono::seconds(seconds) + 1h);
    oa(u"create trigger refusing before insert on SMS_SIMReceive begin select raise(abort, 'refused'); end"_s);
    auto *end = new QTimer(this);
    end->callOnTimeout([this, end] {
        end->setInterval(1s); // somebody may hold the database
        if (oa(u"drop trigger if exists refusing"_s))
            end->deleteLater();
    });
    end->start(std::chrono::seconds(seconds));
}

/// Another program of the office writes for so long.
void World::holdDatabase(int seconds)
{
    disturb(std::chrono::seconds(seconds));
    if (QSqlQuery(u"begin immediate"_s, m_other).isActive())
        QTimer::singleShot(std::chrono::seconds(seconds), Qt::PreciseTimer, this,
                           [this] { QSqlQuery(u"rollback"_s, m_other); });
}
