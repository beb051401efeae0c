#include "mailbox/CollectorProtocol.h"

#include <QDataStream>
#include <QIODevice>

#include <array>
#include <tuple>

using namespace CollectorProtocol;

/// The fields of what goes over, to be written and read in this order.
struct Fields {
    static auto of(MailKey &key) { return std::tie(key.accountKey, key.uid); }
    static auto of(BrokenMail &mail) { return std::tie(mail.breaks, mail.restsUntil); }
    static auto of(AccountHistory &history)
    {
        return std::tie(history.account, history.ways, history.refusals, history.hangs, history.last,
                        history.distance, history.isOneByOne, history.unknownIds, history.unknownSizes,
                        history.areIdsChanging);
    }
    static auto of(CollectorState &state)
    {
        return std::tie(state.passedOverMails, state.passedOverAccounts, state.histories, state.brokenMails,
                        state.plainMails, state.isOneAtATime, state.connectString, state.areServersSeveral,
                        state.verifiesMailServers, state.attachesHiddenText);
    }
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
};

template <typename T>
concept HasFields = requires(T &value)
{
    Fields::of(value);
};

// In the namespace of the types, where the operators for sets and hashes look for them.

template <typename Rep, typename Period>
static QDataStream &operator<<(QDataStream &out, const std::chrono::duration<Rep, Period> &time)
{
    return out << static_cast<qint64>(time.count());
}

template <typename Rep, typename Period>
static QDataStream &operator>>(QDataStream &in, std::chrono::duration<Rep, Period> &time)
{
    qint64 count = 0;
    in >> count;
    time = std::chrono::duration<Rep, Period>(count);
    return in;
}

// For a list, Qt makes room as large as its sender says.

static QDataStream &operator<<(QDataStream &out, const Pop3LoginWays &ways)
{
    return out << ways.proven << ways.refused.join(' ');
}

static QDataStream &operator>>(QDataStream &in, Pop3LoginWays &ways)
{
    QByteArray refused;
    in >> ways.proven >> refused;
    ways.refused = refused.isEmpty() ? QByteArrayList() : refused.split(' ');
    return in;
}

static QDataStream &operator<<(QDataStream &out, const HasFields auto &value)
{
    auto copy = value;
    std::apply([&](const auto &...fields) { static_cast<void>((out << ... << fields)); }, Fields::of(copy));
    return out;
}

static QDataStream &operator>>(QDataStream &in, HasFields auto &value)
{
    std::apply([&](auto &...fields) { static_cast<void>((in >> ... >> fields)); }, Fields::of(value));
    return in;
}

namespace CollectorProtocol
{

namespace
{

constexpr auto version = QDataStream::Qt_6_0;

/// message: in front of it, what kind it is.
template <typename Message>
QByteArray lineOf(quint8 kind, const Message &message)
{
    QByteArray octets;
    QDataStream out(&octets, QIODevice::WriteOnly);
    out.setVersion(version);
    out << kind << message;
    return octets.toBase64() + '\n';
}

template <typename Message, typename Result = Message>
std::optional<Result> read(QDataStream &in)
{
    Message message;
    in >> message;
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
