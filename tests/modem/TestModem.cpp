#include "tests/modem/TestModem.h"

namespace
{

constexpr auto ok = "\r\nOK\r\n";

QByteArray lineOf(const QByteArray &text)
{
    return "\r\n" + text + "\r\n";
}

} // namespace

TestModem::TestModem()
{
    startServing();
}

TestModem::~TestModem()
{
    stopServing();
}

void TestModem::answer(const QByteArray &command, const QByteArrayList &answers)
{
    const std::lock_guard lock(m_mutex);
    m_answers.insert(command, answers);
}

void TestModem::answerTpdus(const QByteArrayList &answers)
{
    const std::lock_guard lock(m_mutex);
    m_tpduAnswers = answers;
}

void TestModem::store(int index, const QByteArray &hex, int stat)
{
    const std::lock_guard lock(m_mutex);
    m_store.insert(index, {stat, hex});
}

void TestModem::setStoreSize(int places)
{
    const std::lock_guard lock(m_mutex);
    m_places = places;
}

void TestModem::speakOnlyAt(int baud)
{
    const std::lock_guard lock(m_mutex);
    m_baud = baud;
}

void TestModem::deliver(int index, const QByteArray &hex)
{
    store(index, hex);
    say(lineOf("+CMTI: \"SM\"," + QByteArray::number(index)));
}

QByteArrayList TestModem::commands() const
{
    const std::lock_guard lock(m_mutex);
    return m_commands;
}

QByteArrayList TestModem::tpdus() const
{
    const std::lock_guard lock(m_mutex);
    return m_tpdus;
}

QList<int> TestModem::storedIndices() const
{
    const std::lock_guard lock(m_mutex);
    return m_store.keys();
}

int TestModem::count(const QByteArray &commandStart) const
{
    int found = 0;
    for (const QByteArray &command : commands())
        found += command.startsWith(commandStart) ? 1 : 0;
    return found;
}

void TestModem::forgetCommands()
{
    const std::lock_guard lock(m_mutex);
    m_commands.clear();
}

void TestModem::heard(const QByteArray &octets)
{
    const std::lock_guard lock(m_mutex);
    if (m_baud != 0 && m_baud != baud())
        return;
    for (const char c : octets) {
        if (c == '\x1b') {
            m_isPrompting = false;
            m_input.clear();
        } else if (m_isPrompting && c == '\x1a') {
            takeTpdu();
        } else if (!m_isPrompting && c == '\r') {
            const QByteArray command = std::exchange(m_input, {});
            m_commands.append(command);
            if (const QByteArray said = reply(command); !said.isEmpty())
                say(said);
        } else {
            m_input.append(c);
        }
    }
}

QByteArray TestModem::reply(const QByteArray &command)
{
    for (auto it = m_answers.end(); it != m_answers.begin();) { // the longest that fits
        --it;
        const bool fits =
            it.key().endsWith('$') ? command == it.key().chopped(1) : command.startsWith(it.key());
        if (!fits)
            continue;
        QByteArray said = it->size() > 1 ? it->takeFirst() : it->first();
        if (said == "*")
            break;
        m_isPrompting = said.endsWith("> ");
        return said;
    }
    if (command.startsWith("at"))
        return {}; // it knows upper case only
    if (command.startsWith("AT+CMGS=")) {
        m_isPrompting = true;
        return "\r\n> ";
    }
    static const QHash<QByteArray, QByteArray> lines{
        {"AT+CMEE?", "+CMEE: 1"},
        {"AT+CPIN?", "+CPIN: READY"},
        {"AT+CREG?", "+CREG: 0,1"},
        {"AT+CSMS?", "+CSMS: 0,1,1,1"},
        {"AT+CPMS=?", R"(+CPMS: ("SM"),("SM"),("SM"))"},
    };
    if (lines.contains(command))
        return lineOf(lines.value(command)) + ok;
    return storeReply(command);
}

QByteArray TestModem::storeReply(const QByteArray &command)
{
    const QByteArray used = QByteArray::number(m_store.size()) + ',' + QByteArray::number(m_places);
    if (command.startsWith("AT+CPMS"))
        return lineOf("+CPMS: " + used + ',' + used + ',' + used) + ok;
    if (command == "AT+CMGL=4") {
        QByteArray listing;
        for (auto it = m_store.cbegin(); it != m_store.cend(); ++it) {
            listing += "\r\n+CMGL: " + QByteArray::number(it.key()) + ',' + QByteArray::number(it->stat) +
                       ",," + QByteArray::number(it->hex.size() / 2 - 1) + "\r\n" + it->hex + "\r\n";
        }
        return listing + ok;
    }
    if (command.startsWith("AT+CMGR=")) {
        const auto found = m_store.constFind(command.sliced(8).toInt());
        if (found == m_store.cend())
            return lineOf("+CMS ERROR: 321");
        return "\r\n+CMGR: " + QByteArray::number(found->stat) + ",," +
               QByteArray::number(found->hex.size() / 2 - 1) + "\r\n" + found->hex + "\r\n" + ok;
    }
    if (command.startsWith("AT+CMGD="))
        m_store.remove(command.sliced(8).toInt());
    return ok;
}

void TestModem::takeTpdu()
{
    m_isPrompting = false;
    m_tpdus.append(std::exchange(m_input, {}));
    const QByteArray said = m_tpduAnswers.isEmpty()
                                ? lineOf("+CMGS: " + QByteArray::number(++m_reference)) + ok
                                : m_tpduAnswers.takeFirst();
    if (said == "HANGUP")
        hangUp();
    else if (!said.isEmpty())
        say(said);
}
