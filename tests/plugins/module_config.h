/* Settings of a test plug-in from a text file beside its module:
   "<module path>.cfg", one key=value per line, so that copies of one module
   at several paths can act as several different plug-ins. */
#ifndef VORN_TEST_MODULE_CONFIG_H
#define VORN_TEST_MODULE_CONFIG_H

#include <dlfcn.h>
#include <stdio.h>
#include <string.h>

/* The path of the module that holds anchor, or null when it cannot be
   found. */
static inline const char* ModulePath(void* anchor)
{
    Dl_info info;
    if (dladdr(anchor, &info) == 0)
        return NULL;
    return info.dli_fname;
}

/* Calls setting(key, value) for each line of "<modulePath>.cfg", if there is
   such a file. */
static inline void ReadModuleConfig(const char* modulePath,
                                    void (*setting)(const char* key, const char* value))
{
    char path[1200];
    char line[600];
    FILE* file;
    snprintf(path, sizeof path, "%s.cfg", modulePath);
    file = fopen(path, "r");
    if (file == NULL)
        return;
    while (fgets(line, sizeof line, file) != NULL) {
        char* value = strchr(line, '=');
        if (value == NULL)
            continue;
        *value++ = '\0';
        value[strcspn(value, "\r\n")] = '\0';
        setting(line, value);
    }
    fclose(file);
}

#endif
