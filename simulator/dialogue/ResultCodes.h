#pragma once

namespace simulator
{
/// +CME ERROR (3GPP TS 27.007, 9.2.1).
namespace cme
{
constexpr int notAllowed = 3;
constexpr int simNotInserted = 10;
constexpr int simPinRequired = 11;
} // namespace cme

/// +CMS ERROR (3GPP TS 27.005, 3.2.5).
namespace cms
{
constexpr int ofSim = 300; ///< plus the code of +CME ERROR
constexpr int notAllowed = 302;
constexpr int notSupported = 303;
constexpr int invalidPduParameter = 304;
constexpr int invalidTextParameter = 305;
constexpr int invalidIndex = 321;
} // namespace cms
} // namespace simulator
