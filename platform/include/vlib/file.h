#pragma once

#include <stdio.h>

#include "vlib/szhash.h"
#include "vlib/szlist.h"

/// Files of `key=value` lines, flat or divided by `[section]` headers, and the file services
/// around them.
///
/// A line is blanks, key, `=`, value; the value runs verbatim to the end of the line. Lines that
/// begin with `#` or `;` are comments. Lines that are none of these are skipped by the readers
/// and kept in place by the writers. The writers refuse, before anything is written, what would
/// not be read back unchanged: a newline or NUL in key or value, an empty key or one with `=`,
/// blanks at its ends or a first character that makes the line a comment or a header, and `]` or
/// a newline in a section name. Every writer replaces the file at once, keeps its mode and owner,
/// and follows a symbolic link.

#ifdef __cplusplus
extern "C" {
#endif

/// @return 1 when the path exists (links followed), 0 when not
int VLIBCFileExist(const char* path);

/// @return 1 when the path is a folder (links followed), 0 when not
int VLIBCFileCheckDir(const char* path);

/// Lists the names in a folder that match, in byte order, without "." and "..".
/// @param pattern  shell pattern of fnmatch(3); without wildcards, the beginning of the names
/// @param type     2: regular files and links; 1: folders; 3: both
/// @return the number of names, or -1 when the folder cannot be read
int VLIBCFileEnumDir(const char* folder, const char* pattern, VLIBSZLIST** list, int type);

/// Reads the pairs of a flat file into a table; the last line of a key wins.
/// @param keys       only these keys are taken; null takes all
/// @param separator  the text between key and value, "="
/// @return the number of pairs taken, or -1 when the file cannot be read
int VLIBCFileGetKeys(const char* path, const VLIBSZLIST* keys, VLIBSZHASH** hash,
                     const char* separator);

/// Sets every pair of `keys` in a flat file. Lines of other keys, comments and lines that are no
/// pair stay in place; new keys go to the end in table order. The file is created when missing.
/// @param aux      reserved; an empty table or null
/// @param options  reserved; 0
/// @return 0, or -1 (refused, or the file could not be replaced and is as before)
int VLIBCFileSetKeys(const char* path, const VLIBSZHASH* keys, const VLIBSZHASH* aux, int options);

/// Reads one key of a flat file that people write by hand: blanks around the value and one pair
/// of quotes are dropped.
/// @param options  reserved; 0
/// @return the length of the value (cut to fit `size`), 0 when the value is empty, -1 when the
///         key or the file is absent; the buffer is then unchanged
int VLIBCFileGetKeyValue(const char* path, const char* key, char* value, int size, int options);

/// Sets one key of a flat file as VLIBCFileSetKeys does.
/// @param format  the line, with %s for key and for value; null or 0 means "%s=%s\n"
/// @return 0 or -1
int VLIBCFileSetKeyValue(const char* path, const char* key, const char* value, const char* format);

/// Compares one key of a flat file.
/// @param ignoreCase  nonzero ignores the case of ASCII letters
/// @return 1 when the key is there with this value, 0 when not
int VLIBCFileCheckKeyValue(const char* path, const char* key, const char* value, int ignoreCase);

/// Lists the section names of a sectioned file in file order, each once.
/// @return the number of sections, or -1 when the file cannot be read
int VLIBCFileEnumSection(const char* path, VLIBSZLIST** list);

/// Reads the pairs of one section into a table.
/// @return the number of pairs, or -1 when the file or the section is absent
int VLIBCFileGetSection(const char* path, const char* section, VLIBSZHASH** hash);

/// Reads one key of one section, verbatim.
/// @return as VLIBCFileGetKeyValue
int VLIBCFileGetSectionValue(const char* path, const char* section, const char* key, char* value,
                             int size);

/// Replaces one section of a sectioned file, or appends it; the file is created when missing.
/// @param format  one line, with %s for key and for value
/// @return 0 or -1
int VLIBCFileAddSection(const char* path, const char* section, const VLIBSZHASH* hash,
                        const char* format);

/// Appends a section header and one line per pair, in table order, to an open stream.
/// @param format  one line, with %s for key and for value
/// @return 0, or -1 (refused, or a write error of the stream)
int VLIBCFileHash2File(FILE* stream, const char* section, const VLIBSZHASH* hash,
                       const char* format);

/// Opens `path`, created when missing, and takes its advisory flock(2) lock without waiting.
/// @param exclusive   nonzero for an exclusive lock, 0 for a shared one
/// @param descriptor  where the descriptor that holds the lock is put on success
/// @return 1 on success, 0 when another holds the lock, -1 on error
int VLIBCFileLockByFile(const char* path, int exclusive, int* descriptor);

/// Releases the lock and closes its descriptor.
/// @return 1, or -1 when the descriptor is not open
int VLIBCFileUnlockByFile(int descriptor);

#ifdef __cplusplus
}
#endif
