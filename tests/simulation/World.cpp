#include "tests/simulation/World.h"

#include "simulator/controls/Controls.h"
#include "tests/simulation/MemoryDisk.h"
#include "tests/simulation/MemoryLine.h"
#include "tests/simulation/VirtualTime.h"

#include <QDateTime>
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

} // namespace

World::World(int servers)
{
    for (int server = 1; server <= servers; ++server)
        addModem(server);
}

void World::addModem(int server)
{
    auto end = makeModemEnd(u"modem%1"_s.arg(server));
    connect(end.get(), &simulator::LineEnd::received, this,
            [this, server](const QByteArray &command) { hear(server, command); });
    ModemOnDesk desk{std::make_unique<simulator::Modem>(std::move(end))};
    simulator::Modem &modem = *desk.modem;
    modem.network().setListener([this, server](const simulator::SubmitRecord &record) {
        m_truth.handedOver.push_back({server, now(), record.tpdu.number, record.tpdu.text, !record.refused});
        const QString name = QString::number(server);
        if (Crashes &crashes = m_crashes[name]; crashes.left > 0) {
            --crashes.left;
            endServer({u"kill"_s, name, u"0"_s, crashes.pause});
        }
    });
    m_modems.push_back(std::move(desk));
    for (const QString &control : {u"storage-size 20"_s, u"latency 1500"_s, u"baud 115200"_s})
        run(server, control);
    modem.line().plug();
}

void World::run(int modem, const QString &control) const
{
    const QString answer = simulator::runControl(*m_modems.at(size_t(modem) - 1).modem, control);
    if (!answer.startsWith(u"ok"))
        qFatal("modem: %s: %s", qUtf8Printable(control), qUtf8Printable(answer));
}

void World::settle()
{
    for (int modem = 1; const ModemOnDesk &desk : m_modems) {
        if (desk.onOtherSim > 0 && desk.meddling.isEmpty() &&
            desk.modem->state().used(simulator::Memory::Sim) == 0)
            perform(u"modem %1 sim exchanged"_s.arg(modem));
        ++modem;
    }
}

bool World::isQuiet() const
{
    return std::ranges::all_of(m_modems, [](const ModemOnDesk &desk) {
        return desk.modem->network().waiting() == 0 && desk.onOtherSim == 0 &&
               desk.modem->state().used(simulator::Memory::Both) == 0;
    });
}

Truth::Time World::now() const
{
    return std::chrono::duration_cast<Truth::Time>(VirtualTime::instance().now());
}

void World::disturb(std::chrono::milliseconds length)
{
    m_truth.disturbances.push_back({now(), now() + length});
}

/// Something is out of order until it is mended.
void World::disturb(const QString &seconds, std::function<void()> mend, std::chrono::seconds grace)
{
    const std::chrono::seconds length(seconds.toInt());
    disturb(length + grace);
    QTimer::singleShot(length, Qt::PreciseTimer, this, std::move(mend));
}

void World::perform(const QString &line)
{
    using Deed = void (World::*)(const QStringList &words);
    static const QHash<QString, Deed> deeds{
        {u"waiting"_s, &World::schedule},  {u"queue"_s, &World::queue},
        {u"withdraw"_s, &World::withdraw}, {u"postpone"_s, &World::postpone},
        {u"mail"_s, &World::mail},         {u"sms"_s, &World::receive},
        {u"code"_s, &World::sendCode},     {u"modem"_s, &World::commandModem},
        {u"held"_s, &World::holdDatabase}, {u"refusing"_s, &World::refuseReceived},
        {u"full"_s, &World::fill},         {u"broken"_s, &World::breakDisk},
        {u"emptied"_s, &World::spoil},     {u"torn"_s, &World::spoil},
        {u"mended"_s, &World::spoil},      {u"away"_s, &World::sendAway},
        {u"clock"_s, &World::moveClock},   {u"crash"_s, &World::crash},
        {u"kill"_s, &World::endServer},    {u"cut"_s, &World::endServer},
        {u"stop"_s, &World::endServer},    {u"sees"_s, &World::see}};
    const QStringList words = line.split(u' ');
    const Deed deed = deeds.value(words.first());
    if (deed == nullptr)
        qFatal("nobody knows how to %s", qUtf8Printable(line));
    (this->*deed)(words);
}

/// waiting ID DELAY LENGTH USERS
void World::schedule(const QStringList &words)
{
    const QString &id = words[1];
    const std::chrono::seconds delay(words[2].toInt());
    const QString content = textOf(id, words[3].toInt());
    const QStringList users = words[4].split(u',');
    if (!m_office.change(
            u"insert into SMS_WaitToSend (ToSendDT, FromUserName, ToUserList, ToNameList, CreateDT, MsgType, "
            "MsgContent) values (?, 'u1', ?, '', ?, '0', ?)"_s,
            {localText(delay), users.join(u';'), localText(0s), content}))
        return;
    for (const QString &user : users) {
        for (const QString &piece : piecesOf(content))
            m_truth.wanted.push_back({id, OfficeDatabase::numberOf(user), piece, now() + qMax(0s, delay)});
    }
}

/// queue ID FIRST COUNT
void World::queue(const QStringList &words)
{
    const int first = words[2].toInt();
    const QString content = u"#%1 broadcast"_s.arg(words[1]);
    for (int number = first; number < first + words[3].toInt(); ++number) {
        const QString to = u"1390000%1"_s.arg(1000 + number);
        if (m_office.change(
                u"insert into SMS_Queues (SOAID, ToMB, MsgContent, MsgStatus) values (7, ?, ?, '0')"_s,
                {to, content}))
            m_truth.wanted.push_back({words[1], to, content, now()});
    }
}

void World::withdraw(const QStringList &words)
{
    if (m_office.change(u"delete from SMS_WaitToSend where MsgContent like ?"_s, {u"#%1 %"_s.arg(words[1])}))
        std::erase_if(m_truth.wanted, [&](const Truth::Wanted &wanted) { return wanted.id == words[1]; });
}

/// postpone ID DELAY
void World::postpone(const QStringList &words)
{
    const std::chrono::seconds delay(words[2].toInt());
    if (!m_office.change(u"update SMS_WaitToSend set ToSendDT=? where MsgContent like ?"_s,
                         {localText(delay), u"#%1 %"_s.arg(words[1])}))
        return;
    for (Truth::Wanted &wanted : m_truth.wanted) {
        if (wanted.id == words[1])
            wanted.since = now() + delay;
    }
}

/// mail ID internal|external USER
void World::mail(const QStringList &words)
{
    const bool isExternal = words[2] == u"external";
    const QString &user = words[3];
    const QString subject = u"#"_s + words[1];
    if (!m_office.change(u"insert into VO_Email (EmailSource, EmailStatus, EmailTo, EmailFrom, EmailSubject) "
                         "values (?, '1', ?, ?, ?)"_s,
                         {isExternal ? u"2"_s : u"1"_s, u"*%1-0-0-0*"_s.arg(user),
                          isExternal ? u"a@b.example"_s : u"u4"_s, subject}))
        return;
    const QString alert = isExternal ? u"【办公信息】您收到一封外部新邮件，发件人：a@b.example 邮件标题："_s
                                     : u"【办公信息】您收到一封内部新邮件，发件人：同事4 邮件标题："_s;
    // Who switches the service on and off may be told of it, or not.
    const bool isSure = isExternal || (user != u"u1" && user != u"u2");
    m_truth.wanted.push_back({words[1], OfficeDatabase::numberOf(user), alert + subject, now(), isSure});
}

/// sms ID LENGTH USER [ORDER]
void World::receive(const QStringList &words)
{
    const QString number = OfficeDatabase::numberOf(words[3]);
    const QString text = textOf(words[1], words[2].toInt());
    run(1, words.size() > 4 ? u"deliver-parts %1 %2 %3"_s.arg(number, words[4], text)
                            : u"deliver %1 %2"_s.arg(number, text));
    m_truth.arrived.push_back({number, text});
}

/// code USER CODE
void World::sendCode(const QStringList &words)
{
    // Nobody writes it twice within a second (nor in the first), and what one network sends so is one message.
    const auto second = std::chrono::floor<std::chrono::seconds>(now());
    if (std::exchange(m_lastCodes[words.join(u' ')], second) == second)
        return;
    const QString number = OfficeDatabase::numberOf(words[1]);
    run(1, u"deliver %1 %2"_s.arg(number, words[2]));
    m_truth.wanted.push_back({words[2], number.mid(3), confirmationOf(words[2]), now()}); // without +86
}

/// modem N COMMAND: a command of the modem's control channel, which says for how long it disturbs at its end, in
/// milliseconds.
void World::commandModem(const QStringList &words)
{
    const QStringList command = words.sliced(2);
    const QString &name = command.first();
    const int count = command.value(1).toInt();
    disturb(5min + std::chrono::milliseconds(command.last().toInt()));
    // Of the edits those of a text's own answer: "edit 1 > ..."
    const bool isOfText = name == u"edit" && QStringList{u">"_s, u"+CMGS"_s}.contains(command.value(2)) &&
                          command.value(3) != u"slow";
    if (isOfText || QStringList{u"unplug"_s, u"restart"_s, u"hang"_s}.contains(name))
        ++m_truth.lostAnswers;
    // Several may delay one text's, together beyond what is waited for.
    if (name == u"edit" && command.value(3) == u"slow") {
        m_slowness += std::chrono::milliseconds(command.last().toInt());
        if (m_slowness > 5min) {
            ++m_truth.lostAnswers;
            m_slowness = 0ms;
        }
    }
    if (name == u"refuse") {
        constexpr int tries = 3;
        const bool isForGood = QStringList{u"1"_s, u"21"_s}.contains(command.value(2));
        m_truth.refusals += isForGood ? count : count / tries;
    } else if (name == u"refuse-number") {
        m_truth.refusals += command.value(2) == u"0" ? 0 : 1;
    } else if (name == u"answer") {
        ++m_truth.refusedCommands;
    } else if (name == u"bare-ok") {
        m_truth.refusals += count;
    } else if (name == u"others" || (name == u"sim" && command[1] == u"exchanged")) {
        m_modems.at(size_t(words[1].toInt()) - 1).meddling += command;
        return;
    }
    run(words[1].toInt(), command.join(u' '));
}

/// Before a command of the server's runs, somebody else takes what stands in a place of the SIM, or the SIM. Nobody could
/// help it between the reading of a place and its removal, which is why no other command comes between these two.
void World::hear(int modem, const QByteArray &line)
{
    using namespace simulator;
    ModemOnDesk &desk = m_modems.at(size_t(modem) - 1);
    const QByteArray before = std::exchange(desk.heard, line);
    if (line.startsWith("AT+CMGD=")) {
        m_truth.removedUnread += before == "AT+CMGR=" + line.sliced(8) ? 0 : 1;
        return;
    }
    for (const QStringList &command : std::exchange(desk.meddling, {})) {
        const bool isExchange = command.first() == u"sim";
        ModemState &state = desk.modem->state();
        if (isExchange)
            desk.onOtherSim = state.used(Memory::Sim);
        for (const auto &[place, message] : state.store(Memory::Sim).messages) {
            const auto tpdu = decodeTpdu(message.pdu, Direction::ToModem);
            for (Truth::Arrived &arrived : m_truth.arrived) {
                if (arrived.text != std::get<Tpdu>(tpdu).text)
                    continue;
                arrived.most += isExchange ? 1 : 0;
                if (!isExchange && place == command[2].toInt())
                    arrived.least = 0;
            }
        }
        run(modem, command.join(u' '));
    }
}

/// held SECONDS: another program of the office writes.
void World::holdDatabase(const QStringList &words)
{
    if (m_office.hold())
        disturb(words[1], [this] { m_office.letGo(); });
}

/// refusing SECONDS: the office's database refuses every row of a received message.
void World::refuseReceived(const QStringList &words)
{
    m_office.change(
        u"create trigger refusing before insert on SMS_SIMReceive begin select raise(abort, 'refused'); end"_s);
    disturb(
        words[1], [this] { allowReceived(); }, 1h);
}

void World::allowReceived()
{
    // Somebody may hold the database.
    if (!m_office.change(u"drop trigger if exists refusing"_s))
        QTimer::singleShot(1s, Qt::PreciseTimer, this, &World::allowReceived);
}

/// full PAGES SECONDS
void World::fill(const QStringList &words)
{
    disk().setFreePages(words[1].toInt());
    disturb(words[2], [] { disk().setFreePages({}); });
}

/// broken ERRNO SECONDS [FILE]
void World::breakDisk(const QStringList &words)
{
    disk().fail(words[1].toInt(), words.value(3).toUtf8());
    disturb(words[2], [] { disk().fail(0); });
}

/// A hand at a file of the server's, when it is there: emptied FILE, torn FILE OCTETS, mended FILE
void World::spoil(const QStringList &words)
{
    const QByteArray name = words[1].toUtf8();
    const MemoryDisk::FilePtr file = disk().find(name);
    if (!file)
        return;
    if (words[0] == u"mended") {
        file->content = m_spoiled.value(name);
    } else {
        m_spoiled.insert(name, file->content);
        file->content.chop(words[0] == u"torn" ? words[2].toInt() : file->content.size());
    }
    file->synced = file->content;
    file->unsynced.clear();
}

/// away N SECONDS
void World::sendAway(const QStringList &words)
{
    ++m_truth.kills; // its session, with a message in hand
    disk().cutOff(words[1].toInt(), OfficeDatabase::fileName().toUtf8());
    disturb(
        words[2], [] { disk().cutOff(0); }, 60s);
}

/// clock SECONDS
void World::moveClock(const QStringList &words)
{
    m_truth.isClockMoved = true;
    disturb(24h);
    VirtualTime::instance().moveWallClock(std::chrono::seconds(words[1].toInt()));
}

/// crash N TIMES PAUSE
void World::crash(const QStringList &words)
{
    m_crashes[words[1]] = {words[2].toInt(), words[3]};
}

/// sees QUERY
void World::see(const QStringList &words)
{
    const QString query = words.sliced(1).join(u' ');
    if (m_office.rows(query) != QStringList(u"1"_s))
        m_truth.unseen += query;
}

/// kill|cut N CROSSINGS PAUSE, stop N PAUSE
void World::endServer(const QStringList &words)
{
    disturb(60s + std::chrono::seconds(words.last().toInt()));
    (words.first() == u"stop" ? m_truth.stops : m_truth.kills) += 1;
    onServers(words);
}
