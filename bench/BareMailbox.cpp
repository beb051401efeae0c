#include "bench/BareMailbox.h"

#include <curl/curl.h>
#include <stdexcept>

namespace
{

size_t throwAway(char * /*data*/, size_t size, size_t count, void *octets)
{
    *static_cast<qint64 *>(octets) += static_cast<qint64>(size * count);
    return size * count;
}

} // namespace

BareMailbox::BareMailbox(int port, const QString &login, const QString &password)
    : m_curl(curl_easy_init()), m_url("pop3://127.0.0.1:" + QByteArray::number(port) + '/')
{
    curl_easy_setopt(m_curl, CURLOPT_USERNAME, login.toUtf8().constData());
    curl_easy_setopt(m_curl, CURLOPT_PASSWORD, password.toUtf8().constData());
    curl_easy_setopt(m_curl, CURLOPT_WRITEFUNCTION, throwAway);
    curl_easy_setopt(m_curl, CURLOPT_WRITEDATA, &m_octets);
    curl_easy_setopt(m_curl, CURLOPT_USE_SSL, CURLUSESSL_TRY); // as ours: a server that offers it gets it
    curl_easy_setopt(m_curl, CURLOPT_SSL_VERIFYPEER, 0L);
    curl_easy_setopt(m_curl, CURLOPT_SSL_VERIFYHOST, 0L);
    curl_easy_setopt(m_curl, CURLOPT_NOSIGNAL, 1L);
}

BareMailbox::~BareMailbox()
{
    curl_easy_cleanup(m_curl);
}

qint64 BareMailbox::retrieve(int message)
{
    return perform(QByteArray::number(message), nullptr);
}

qint64 BareMailbox::listUniqueIds()
{
    return perform({}, "UIDL");
}

qint64 BareMailbox::perform(const QByteArray &path, const char *command)
{
    curl_easy_setopt(m_curl, CURLOPT_URL, (m_url + path).constData());
    curl_easy_setopt(m_curl, CURLOPT_CUSTOMREQUEST, command);
    m_octets = 0;
    if (const CURLcode code = curl_easy_perform(m_curl); code != CURLE_OK)
        throw std::runtime_error(curl_easy_strerror(code));
    return m_octets;
}
