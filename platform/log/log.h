/**
 * log.dll: writes log records to a file, one line for each.
 *
 * Each of the four functions adds "<time> <level> <file> <format>" to the log file, where the time is UTC as
 * 2031-05-07T09:08:07.123Z and the level is one letter. The format is recorded
 * unexpanded, and further arguments are ignored.
 *
 * The log file is the one that the environment variable KESTRELBAY_LOG_FILE names, otherwise
 * %TEMP%\KestrelbayGeneral.log. It is opened for each record, so it may be moved away at any time, and
 * several programs may write to it at once. A record that cannot be written is dropped silently.
 *
 * Both texts are null-terminated and used only during the call; null counts as the empty text. Thread-safe.
 * The last error of the thread does not change.
 */
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

void QVSLOGD(const char* file, const char* format, ...);  ///< D: debug
void QVSLOGI(const char* file, const char* format, ...);  ///< I: information
void QVSLOGW(const char* file, const char* format, ...);  ///< W: warning
void QVSLOGE(const char* file, const char* format, ...);  ///< E: error

#ifdef __cplusplus
}
#endif
