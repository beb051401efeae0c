#pragma once

#include <QLatin1String>

/// The order types that the server acts on: the text in SMS_Order.OrderName, SMS_IsOrder.Type and
/// SMS_Alert_MaxOAID.Source. Compared exactly.
namespace OrderType
{

inline constexpr QLatin1String internalMail("NBYJ");     ///< notice of new internal mail
inline constexpr QLatin1String externalMail("WBYJ");     ///< notice of new external mail, and its collection
inline constexpr QLatin1String scheduleReminder("RCGL"); ///< the switch is kept for the OA system

} // namespace OrderType
