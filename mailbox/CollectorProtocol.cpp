#include "mailbox/CollectorProtocol.h"

#include <QDataStream>
#include <QIODevice>

#include <array>
#include <tuple>

// Beside the types, where the operators for sets and hashes look for them.

static QDataStream &operator<<(QDataStream &out, const MailKey &key)
{
    return out << key.accountKey << key.uid;
}

static QDataStream &operator>>(QDataStream &in, MailKey &key)
{
    return in >> key.accountKey >> key.uid;
}

static QDataStream &operator<<(QDataStream &out, const BrokenMail &mail)
{
    return out << mail.breaks << static_cast<qint64>(mail.restsUntil.count());
}

static QDataStream &operator>>(QDataStream &in, BrokenMail &mail)
{
    qint64 restsUntil = 0;
    in >> mail.breaks >> restsUntil;
    mail.restsUntil = std::chrono::milliseconds(restsUntil);
    return in;
}

static QDataStream &operator<<(QDataStream &out, const AccountHistory &history)
{
    return out << history.account << history.ways.proven << history.ways.refused.join(' ') << history.refusals
               << history.hangs << static_cast<qint64>(history.last.count())
               << static_cast<qint32>(history.distance.count()) << history.isOneByOne << history.unknownIds
               << history.unknownSizes << history.areIdsChanging << history.areIdsNumbers;
}

static QDataStream &operator>>(QDataStream &in, AccountHistory &history)
{
    QByteArray refused; // for a list, Qt makes room as large as its sender says
    qint64 last = 0;
    qint32 seconds = 0;
    in >> history.account >> history.ways.proven >> refused >> history.refusals >> history.hangs >> last >>
        seconds >> history.isOneByOne >> history.unknownIds >> history.unknownSizes >>
        history.areIdsChanging >> history.areIdsNumbers;
    history.ways.refused = refused.isEmpty() ? QByteArrayList() : refused.split(' ');
    history.last = std::chrono::milliseconds(last);
    history.distance = std::chrono::seconds(seconds);
    return in;
}

namespace CollectorProtocol
{

namespace
{

constexpr auto version = QDataStream::Qt_6_0;

/// The fields of a message, to be written and read in this order.
struct Fields {
    static auto of(AccountBegins &report) { return std::tie(report.accountKey, report.mailbox); }
    static auto of(AccountLearnt &report)
    {
        return std::tie(report.accountKey, report.mailbox, report.history);
    }
    static auto of(AccountEnds &report) { return std::tie(report.accountKey, report.mailbox, report.cause); }
    static auto of(MailLearnt &report) { return std::tie(report.mail, report.broken); }
    static auto of(MailBegins &report) { return std::tie(report.mail, report.mailbox); }
    static auto of(MailEnds &report) { return std::tie(report.isCollected); }
    static auto of(CharactersReplaced &report) { return std::tie(report.table); }
    static auto of(PassEnds &) { return std::tie(); }
    static auto of(PassFailed &report) { return std::tie(report.databaseGone, report.cause); }
    static auto of(CollectorState &state)
    {
        return std::tie(state.passedOverMails, state.passedOverAccounts, state.histories, state.brokenMails,
                        state.plainMails, state.isOneAtATime, state.connectString, state.areServersSeveral,
                        state.verifiesMailServers, state.attachesHiddenText);
    }
};

/// message: in front of it, what kind it is.
template <typename Message>
QByteArray lineOf(quint8 kind, Message message)
{
    QByteArray octets;
    QDataStream out(&octets, QIODevice::WriteOnly);
    out.setVersion(version);
    out << kind;
    std::apply([&](const auto &...fields) { static_cast<void>((out << ... << fields)); },
               Fields::of(message));
    return octets.toBase64() + '\n';
}

template <typename Message, typename Result = Message>
std::optional<Result> read(QDataStream &in)
{
    Message message;
    std::apply([&](auto &...fields) { static_cast<void>((in >> ... >> fields)); }, Fields::of(message));
    const bool isWhole = in.status() == QDataStream::Ok && in.atEnd();
    return isWhole ? std::optional<Result>(std::move(message)) : std::nullopt;
}

template <typename... Kinds>
std::optional<Report> readKind(quint8 kind, QDataStream &in,
                               std::type_identity<std::variant<Kinds...>> /*all*/)
{
    constexpr std::array readers{&read<Kinds, Report>...};
    return kind < readers.size() ? readers[kind](in) : std::nullopt;
}

/// What use makes of the kind of a message and its stream.
template <typename Use>
auto decoded(const QByteArray &line, Use use)
{
    const QByteArray octets = QByteArray::fromBase64(line.chopped(line.endsWith('\n') ? 1 : 0),
                                                     QByteArray::AbortOnBase64DecodingErrors);
    QDataStream in(octets);
    in.setVersion(version);
    quint8 kind = 0;
    in >> kind;
    return use(kind, in);
}

} // namespace

QByteArray encode(const CollectorState &state)
{
    return lineOf(0, state);
}

std::optional<CollectorState> decodeState(const QByteArray &line)
{
    return decoded(line, [](quint8, QDataStream &in) { return read<CollectorState>(in); });
}

QByteArray encode(const Report &report)
{
    const QByteArray line = std::visit(
        [&](const auto &kind) { return lineOf(static_cast<quint8>(report.index()), kind); }, report);
    return line.size() > longestReport ? QByteArray() : line;
}

std::optional<Report> decodeReport(const QByteArray &line)
{
    return decoded(
        line, [](quint8 kind, QDataStream &in) { return readKind(kind, in, std::type_identity<Report>()); });
}

} // namespace CollectorProtocol
