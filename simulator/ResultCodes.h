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
constexpr int notAllowed = 3;
constexpr int notSupported = 4;
constexpr int simNotInserted = 10;
constexpr int simPinRequired = 11;
constexpr int simPukRequired = 12;
constexpr int simBusy = 14;
constexpr int incorrectPassword = 16;
constexpr int invalidParameters = 50;
} // namespace cme

namespace cms
{
constexpr int notAllowed = 302;
constexpr int notSupported = 303;
constexpr int invalidPduParameter = 304;
constexpr int invalidTextParameter = 305;
constexpr int simNotInserted = 310;
constexpr int simPinRequired = 311;
constexpr int simBusy = 314;
constexpr int simPukRequired = 316;
constexpr int invalidIndex = 321;
constexpr int memoryFull = 322;
constexpr int noNetwork = 331;
constexpr int noAcknowledgementExpected = 340;
} // namespace cms
} // namespace simulator
