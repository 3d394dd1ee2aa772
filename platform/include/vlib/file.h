#pragma once

#include <stdio.h>

#include "vlib/szhash.h"
#include "vlib/szlist.h"

/// Files of `key=value` lines, flat or divided by `[section]` headers, and the file services
/// around them.
///
/// A line is blanks, key, `=`, value; the value runs verbatim to the end of the line, a carriage
/// return included, and blanks between key and `=` do not count. Lines that begin with `#` or `;`
/// are comments; one that begins with `[` is a header up to the first `]`, whatever follows it.
/// Lines that are none of these, or hold a NUL, are skipped by the readers and kept in place by
/// the writers. The last line needs no newline. Of a key's several lines the last wins; of
/// several sections of one name the pairs are read as one section's; pairs before the first
/// header are in no section. To the calls for flat files a header is a line like any other.
///
/// The readers take files of up to 16 MiB. The writers refuse, before anything is written, what
/// would not be read back unchanged: a longer file, a newline in key or value, an empty key or one
/// with `=`, blanks at its ends or a first character that makes the line a comment or a header, `]`
/// or a newline in a section name, and a line format that is not blanks, %s, blanks and `=`, %s,
/// newline. They replace the file at once, keep its mode and owner, and follow a symbolic link.
/// Callers that share a file guard reading and writing with a lock file.

#ifdef __cplusplus
extern "C" {
#endif

/// @return 1 when the path exists (links followed), 0 when not
int VLIBCFileExist(const char* path);

/// @return 1 when the path is a folder (links followed), 0 when not
int VLIBCFileCheckDir(const char* path);

/// Lists the names in a folder that match, in byte order, without "." and "..".
/// @param pattern  shell pattern of fnmatch(3), which spares hidden names unless it begins with a
///                 period; without wildcards, the beginning of the names
/// @param type     2: regular files and links; 1: folders; 3: both
/// @return the number of names, or -1 with errno when the folder cannot be read
int VLIBCFileEnumDir(const char* folder, const char* pattern, VLIBSZLIST** list, int type);

/// Reads the pairs of a flat file into a table, which keeps what else it holds.
/// @param keys       only these keys are taken; null takes all
/// @param separator  the text between key and value, "="
/// @return the number of lines taken, or -1 when the file cannot be read
int VLIBCFileGetKeys(const char* path, const VLIBSZLIST* keys, VLIBSZHASH** hash,
                     const char* separator);

/// Sets every pair of `keys` in a flat file, each in the line where its key first stands; further
/// lines of that key go. All other lines stay; new keys go to the end in table order. The file is
/// created when missing.
/// @param aux      reserved; an empty table or null
/// @param options  reserved; 0
/// @return 0, or -1 (refused, or the file could not be replaced and is as before)
int VLIBCFileSetKeys(const char* path, const VLIBSZHASH* keys, const VLIBSZHASH* aux, int options);

/// Reads one key of a flat file that people write by hand: blanks and carriage returns around the
/// value and one pair of quotes are dropped.
/// @param options  reserved; 0
/// @return the length of what is in the buffer (a longer value is cut to fit `size`), -1 when the
///         key or the file is absent; the buffer is then unchanged
int VLIBCFileGetKeyValue(const char* path, const char* key, char* value, int size, int options);

/// Sets one key of a flat file as VLIBCFileSetKeys does.
/// @param format  the line, with %s for key and for value; null means "%s=%s\n"
/// @return 0 or -1
int VLIBCFileSetKeyValue(const char* path, const char* key, const char* value, const char* format);

/// Compares one key of a flat file, read as VLIBCFileGetKeyValue does, with a value.
/// @param ignoreCase  nonzero ignores the case of ASCII letters
/// @return 1 when the key is there with this value, 0 when not
int VLIBCFileCheckKeyValue(const char* path, const char* key, const char* value, int ignoreCase);

/// Lists the section names of a sectioned file in file order, each once.
/// @return the number of sections, or -1 when the file cannot be read
int VLIBCFileEnumSection(const char* path, VLIBSZLIST** list);

/// Reads the pairs of one section into a table, which keeps what else it holds.
/// @return the number of lines taken, or -1 when the file or the section is absent
int VLIBCFileGetSection(const char* path, const char* section, VLIBSZHASH** hash);

/// Reads one key of one section, verbatim.
/// @return as VLIBCFileGetKeyValue
int VLIBCFileGetSectionValue(const char* path, const char* section, const char* key, char* value,
                             int size);

/// Replaces the pairs of one section of a sectioned file, or appends the section; comments in it
/// stay below its pairs. The file is created when missing.
/// @param format  one line, with %s for key and for value
/// @return 0 or -1
int VLIBCFileAddSection(const char* path, const char* section, const VLIBSZHASH* hash,
                        const char* format);

/// Appends a section header and one line per pair, in table order, to an open stream. That the
/// whole stream becomes no longer than what is read is its owner's matter.
/// @param format  one line, with %s for key and for value
/// @return 0, or -1 (refused, or a write error of the stream)
int VLIBCFileHash2File(FILE* stream, const char* section, const VLIBSZHASH* hash,
                       const char* format);

/// Opens `path`, created for the owner alone when missing and refused when a link, and takes its
/// advisory flock(2) lock without waiting. A holder may delete the file before it releases the
/// lock: the file that was deleted while it was being locked does not count.
/// @param exclusive   nonzero for an exclusive lock, 0 for a shared one
/// @param descriptor  where the descriptor that holds the lock is put on success
/// @return 1 on success, 0 when another holds the lock or has just deleted the file, -1 on error
int VLIBCFileLockByFile(const char* path, int exclusive, int* descriptor);

/// Releases the lock and closes its descriptor.
/// @return 1, or -1 when the descriptor is not open
int VLIBCFileUnlockByFile(int descriptor);

#ifdef __cplusplus
}
#endif
