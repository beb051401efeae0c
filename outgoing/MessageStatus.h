#pragma once

/// SMS_Queues.MsgStatus. The waiting status is written and compared as text, the other two as bare numbers.
enum class MessageStatus {
    Waiting = 0,
    Failed = 4,
    Sent = 8,
};
