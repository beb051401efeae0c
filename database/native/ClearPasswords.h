#pragma once

/// Has the client library of MariaDB and MySQL refuse, for the whole program, a server that asks for the password in
/// clear (the authentication method mysql_clear_password): anybody between could ask so. Callable again.
void refuseClearPasswords();
