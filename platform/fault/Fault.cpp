#include "platform/fault/Fault.h"

Fault::Fault(const QString &message) : std::runtime_error(message.toStdString()), m_message(message) {}
