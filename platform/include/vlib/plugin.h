#pragma once

/// Plug-in actions: an event of a category is announced to whoever has put an executable into
/// /usr/vexo/hooks/CATEGORY/NAME/. A session collects the arguments, which the executables find in
/// their environment, and is run by vexonetsdk::sdk_s::VLIBPluginAction_S.

#ifdef __cplusplus
extern "C" {
#endif

typedef struct VLIBPLUGIN VLIBPLUGIN;

/// Opens a session; VLIBPluginExit closes it.
/// @return null, with the platform's error, for a name that no folder could have
VLIBPLUGIN* VLIBPluginSDKInit(const char* category, const char* name);

/// @param key  letters, digits and underscores, no digit first; a later value replaces a former
/// @return 0 or -1
int VLIBPluginSetArg(VLIBPLUGIN* session, const char* key, const char* value);

/// @param blocking  1: the action waits for the executables to end, each at most 30 s;
///                  0, as a session begins: it only starts them
/// @return 0 or -1
int VLIBPluginSetBlocking(VLIBPLUGIN* session, int blocking);

/// Closes a session; null is allowed. An action that was not waited for goes on.
void VLIBPluginExit(VLIBPLUGIN* session);

#ifdef __cplusplus
}
#endif
