#include "simulator/ResultCodes.h"

#include <algorithm>
#include <array>
#include <span>

namespace simulator
{
namespace
{
struct CodeText {
    int code;
    const char *text;
};

constexpr auto cmeTexts = std::to_array<CodeText>({{0, "phone failure"},
                                                   {1, "no connection to phone"},
                                                   {3, "operation not allowed"},
                                                   {4, "operation not supported"},
                                                   {5, "PH-SIM PIN required"},
                                                   {10, "SIM not inserted"},
                                                   {11, "SIM PIN required"},
                                                   {12, "SIM PUK required"},
                                                   {13, "SIM failure"},
                                                   {14, "SIM busy"},
                                                   {15, "SIM wrong"},
                                                   {16, "incorrect password"},
                                                   {20, "memory full"},
                                                   {21, "invalid index"},
                                                   {22, "not found"},
                                                   {30, "no network service"},
                                                   {31, "network timeout"},
                                                   {50, "Incorrect parameters"},
                                                   {100, "unknown"}});

constexpr auto cmsTexts =
    std::to_array<CodeText>({{1, "Unassigned (unallocated) number"},
                             {8, "Operator determined barring"},
                             {10, "Call barred"},
                             {21, "Short message transfer rejected"},
                             {27, "Destination out of service"},
                             {28, "Unidentified subscriber"},
                             {29, "Facility rejected"},
                             {30, "Unknown subscriber"},
                             {38, "Network out of order"},
                             {41, "Temporary failure"},
                             {42, "Congestion"},
                             {47, "Resources unavailable, unspecified"},
                             {50, "Requested facility not subscribed"},
                             {69, "Requested facility not implemented"},
                             {81, "Invalid short message transfer reference value"},
                             {95, "Invalid message, unspecified"},
                             {96, "Invalid mandatory information"},
                             {97, "Message type non-existent or not implemented"},
                             {98, "Message not compatible with short message protocol state"},
                             {99, "Information element non-existent or not implemented"},
                             {111, "Protocol error, unspecified"},
                             {127, "Interworking, unspecified"},
                             {300, "ME failure"},
                             {301, "SMS service of ME reserved"},
                             {302, "operation not allowed"},
                             {303, "operation not supported"},
                             {304, "invalid PDU mode parameter"},
                             {305, "invalid text mode parameter"},
                             {310, "SIM not inserted"},
                             {311, "SIM PIN required"},
                             {312, "PH-SIM PIN required"},
                             {313, "SIM failure"},
                             {314, "SIM busy"},
                             {315, "SIM wrong"},
                             {316, "SIM PUK required"},
                             {317, "SIM PIN2 required"},
                             {318, "SIM PUK2 required"},
                             {320, "memory failure"},
                             {321, "invalid memory index"},
                             {322, "memory full"},
                             {330, "SMSC address unknown"},
                             {331, "no network service"},
                             {332, "network timeout"},
                             {340, "no +CNMA acknowledgement expected"},
                             {500, "unknown error"}});

QByteArray textOf(std::span<const CodeText> table, int code, const char *otherwise)
{
    const auto found = std::ranges::find(table, code, &CodeText::code);
    return found == table.end() ? otherwise : found->text;
}
} // namespace

QByteArray cmeErrorText(int code)
{
    return textOf(cmeTexts, code, "unknown");
}

QByteArray cmsErrorText(int code)
{
    return textOf(cmsTexts, code, "unknown error");
}
} // namespace simulator
