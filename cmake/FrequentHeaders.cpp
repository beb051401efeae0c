// What the precompiled headers of SmsTargets.cmake are made for: it has no code of its own.
