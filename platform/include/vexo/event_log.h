#pragma once

#ifdef __cplusplus
extern "C" {
#endif

/// Writes one entry of the appliance's event log: one JSON line in /var/log/vexo/events.jsonl
/// with time, event number, level and arguments, and one line in the system log.
/// @param level  1 information, 2 warning, 3 error
/// @param kind   reserved; 1
/// @param event  the event's number in the appliance's message tables
/// @param a1..a7 the arguments of its text; "" for none. C++ may leave out the last three.
/// @return 0 or -1
#ifdef __cplusplus
int VEXOLogSet1(int level, int kind, int event, const char* a1, const char* a2, const char* a3,
                const char* a4, const char* a5 = "", const char* a6 = "", const char* a7 = "");
}
#else
int VEXOLogSet1(int level, int kind, int event, const char* a1, const char* a2, const char* a3,
                const char* a4, const char* a5, const char* a6, const char* a7);
#endif
