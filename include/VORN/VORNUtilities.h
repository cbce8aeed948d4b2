/*
 * VORNUtilities.h - commands and their handlers, and small services:
 * simulated keys and joystick buttons, speech, key names, the simulator's
 * folders, path splitting, paged directory listings, versions, language,
 * logging, host symbols and the simulator's data files.
 *
 * Paths: a plug-in exchanges paths in the legacy form unless it enabled the
 * feature "VORN_USE_NATIVE_PATHS"; on Linux both forms are the same bytes
 * and the separator is '/'.
 */
#ifndef VORN_UTILITIES_H
#define VORN_UTILITIES_H

#include "VORNDefs.h"

VORN_BEGIN_DECLS

/* Data-file kinds accepted by VORNLoadDataFile and VORNSaveDataFile; the
   host defines what each kind holds. */
#define VORN_DATA_FILE_SITUATION 1
#define VORN_DATA_FILE_MOVIE 2

/* ---- Keys, buttons, speech (forwarded to the host) ----------------------- */

/* Makes the host see a key event; keyType and key are the host's codes. */
VORN_API void VORNSimulateKeyPress(int keyType, int key);

/* Makes the host speak text (and show it). The text is copied by the host. */
VORN_API void VORNSpeakString(const char* text);

/* Runs one of the host's command keys as if it were pressed. */
VORN_API void VORNCommandKeyStroke(int commandKey);

/* Presses joystick button `button`; it stays held (and is repeated every
   frame) until VORNCommandButtonRelease. Pressing twice needs two releases. */
VORN_API void VORNCommandButtonPress(int button);

/* Releases one earlier press of `button`; releasing a button that is not
   held still tells the host. */
VORN_API void VORNCommandButtonRelease(int button);

/* Name of a virtual key code ("Return", "F1", "Numpad-7"...), or "Unknown".
   The text is a constant owned by the library. */
VORN_API const char* VORNGetVirtualKeyDescription(char virtualKey);

/* Asks the host to reload the scenery. */
VORN_API void VORNReloadScenery(void);

/* ---- Paths and folders --------------------------------------------------- */

/* Writes the simulator's root folder (ending with a separator) into out,
   which must hold VORN_PATH_BUFFER_SIZE (512) bytes. A null out is ignored. */
VORN_API void VORNGetSystemPath(char* out);

/* Writes the path of the simulator's preferences file into out (512 bytes);
   a null out is ignored. */
VORN_API void VORNGetPrefsPath(char* out);

/* The directory separator of the caller's path form: a one-character
   constant string owned by the library. */
VORN_API const char* VORNGetDirectorySeparator(void);

/* Splits fullPath in place at its last separator (one trailing separator is
   dropped first): fullPath keeps the folder, the result points at the last
   component inside the same buffer. Without separator the whole text is the
   result. A null or empty path is returned unchanged. */
VORN_API char* VORNExtractFileAndPath(char* fullPath);

/* Pages through the entries of a folder (all names but "." and "..", in the
   operating system's order). Names from entry `offset` on are packed into
   namesBuf (bufSize bytes), each zero-terminated; if indices is non-null,
   indices[i] points at the i-th packed name (indexCount slots, plus one for
   a closing null). totalFiles receives the number of entries, returnedFiles
   the number packed. Returns 1 when every remaining name was delivered and
   room was left for the closing empty string (and null index); 0 when the
   caller must call again with offset + *returnedFiles. Any pointer may be
   null; an unreadable folder lists zero entries. */
VORN_API int VORNGetDirectoryContents(const char* dirPath, int offset, char* namesBuf,
                                      int bufSize, char** indices, int indexCount,
                                      int* totalFiles, int* returnedFiles);

/* ---- Versions, language, logging, host symbols ---------------------------- */

/* 1 once the host has started the library (VORNInitializePlugins), else 0. */
VORN_API int VORNInitialized(void);

/* Stores the simulator's version, this library's version (210) and the host
   id; each pointer may be null. */
VORN_API void VORNGetVersions(int* outSimVersion, int* outLibVersion, int* outHostId);

/* The host's language code. */
VORN_API int VORNGetLanguage(void);

/* Writes text to the simulator's log as it is (add your own newline). */
VORN_API void VORNDebugString(const char* text);

/* Address of a function that the host publishes under name, or null. */
VORN_API void* VORNFindSymbol(const char* name);

/* ---- Commands ------------------------------------------------------------
 * A command is a named action of the simulator; its handle is the host's and
 * stays the same for the same name. A null handle is ignored everywhere. */

typedef void* VORNCommandRef;

/* Phases passed to command handlers. */
#define VORN_COMMAND_BEGIN 0
#define VORN_COMMAND_CONTINUE 1
#define VORN_COMMAND_END 2

/* A command handler: called with the command, the phase and its refcon.
   Returning 0 consumes the event: the handlers after it in the same list (and,
   for a before-handler, the host itself) do not see it. A handler that
   throws counts as having returned 1. */
typedef int (*VORNCommandCallback_f)(VORNCommandRef command, int phase, void* refcon);

/* The command named name, or null if the host has none (or name is null). */
VORN_API VORNCommandRef VORNFindCommand(const char* name);

/* Finds or creates the command name with description. Names beginning with
   "sim/" are the simulator's own: the caller gets an error and the log a
   warning, and the command is found or created all the same. Null name: null. */
VORN_API VORNCommandRef VORNCreateCommand(const char* name, const char* description);

/* Starts holding command down on the caller's behalf; it is continued every
   frame until VORNCommandEnd or the caller is unloaded. Beginning a command
   already held changes nothing: one end releases it. */
VORN_API void VORNCommandBegin(VORNCommandRef command);

/* Ends command (the host is told even if the caller never began it) and
   forgets it as held by the caller. */
VORN_API void VORNCommandEnd(VORNCommandRef command);

/* Begins and ends command at once; nothing stays held. */
VORN_API void VORNCommandOnce(VORNCommandRef command);

/* Adds a handler for command, run before the host handles it (before
   non-zero; the newest such handler runs first) or after it (oldest first).
   The same handler may be registered twice. A null callback is ignored. */
VORN_API void VORNRegisterCommandHandler(VORNCommandRef command,
                                         VORNCommandCallback_f callback, int before,
                                         void* refcon);

/* Removes the first of the caller's own handlers registered with exactly
   these arguments; nothing happens when there is none. A handler removed
   while its command is being dispatched is not called any more. */
VORN_API void VORNUnregisterCommandHandler(VORNCommandRef command,
                                           VORNCommandCallback_f callback, int before,
                                           void* refcon);

/* ---- Data files ---------------------------------------------------------- */

/* Loads a data file of kind fileType (1 or 2) from path; returns the host's
   result, or 0 with the error "Illegal file type passed to VORNLoadDataFile."
   for another kind. */
VORN_API int VORNLoadDataFile(int fileType, const char* path);

/* Saves a data file of kind fileType (1 or 2) to path; returns the host's
   result, or 0 with "Null file path passed to VORNSaveDataFile." for a null
   path (checked first) or "Illegal file type passed to VORNSaveDataFile.". */
VORN_API int VORNSaveDataFile(int fileType, const char* path);

VORN_END_DECLS

#endif /* VORN_UTILITIES_H */
