#pragma once

#include <QByteArray>

namespace simulator
{
/// Text of a +CME ERROR code (3GPP TS 27.007, 9.2.1); "unknown" for a code without one.
QByteArray cmeErrorText(int code);

/// Text of a +CMS ERROR code (3GPP TS 27.005, 3.2.5, with the causes of 24.011 below 128); "unknown error"
/// for a code without one.
QByteArray cmsErrorText(int code);

namespace cme
{
constexpr int kNotAllowed = 3;
constexpr int kNotSupported = 4;
constexpr int kSimNotInserted = 10;
constexpr int kSimPinRequired = 11;
constexpr int kSimPukRequired = 12;
constexpr int kSimBusy = 14;
constexpr int kIncorrectPassword = 16;
constexpr int kInvalidParameters = 50;
} // namespace cme

namespace cms
{
constexpr int kNotAllowed = 302;
constexpr int kNotSupported = 303;
constexpr int kInvalidPduParameter = 304;
constexpr int kInvalidTextParameter = 305;
constexpr int kSimNotInserted = 310;
constexpr int kSimPinRequired = 311;
constexpr int kSimBusy = 314;
constexpr int kSimPukRequired = 316;
constexpr int kInvalidIndex = 321;
constexpr int kMemoryFull = 322;
constexpr int kNoNetwork = 331;
constexpr int kNoAcknowledgementExpected = 340;
} // namespace cms
} // namespace simulator
