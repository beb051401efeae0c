#pragma once

#include "subscription/OrderType.h"

#include <array>

/// The two kinds of mail, each a service of its own with its own subscription and watermark.
enum class MailKind {
    Internal, ///< EmailSource other than "2"
    External, ///< EmailSource "2": collected by POP3
};

inline constexpr std::array mailKinds{MailKind::Internal, MailKind::External};

/// The order type of the service, which also names the watermark's source.
[[nodiscard]] constexpr QLatin1String orderTypeOf(MailKind kind)
{
    return kind == MailKind::Internal ? OrderType::internalMail : OrderType::externalMail;
}
