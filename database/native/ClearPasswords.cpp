#include "database/native/ClearPasswords.h"

#include <cstdarg>
#include <mysql.h>

namespace
{

/// As mysql/client_plugin.h has it, which includes a header that no package brings.
struct AuthenticationMethod {
    st_mysql_client_plugin head;
    int (*authenticate)(void *line, st_mysql *client);
};

int refuse(void *, st_mysql *)
{
    constexpr int refused = 0; // CR_ERROR
    return refused;
}

} // namespace

void refuseClearPasswords()
{
    constexpr int authentication = 2; // the kind of plugin
    constexpr unsigned int interfaceVersion = 0x0100;
    static AuthenticationMethod method = {};
    if (method.head.type == authentication)
        return;
    MYSQL *client = mysql_init(nullptr);
    if (client == nullptr)
        return;
    method.head.type = authentication;
    method.head.interface_version = interfaceVersion;
    method.head.name = "mysql_clear_password";
    method.head.version[0] = 1;
    method.authenticate = refuse;
    // A method that is registered is not looked for among the library's loadable ones.
    mysql_client_register_plugin(client, &method.head);
    mysql_close(client);
}
