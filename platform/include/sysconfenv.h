/* The device's environment store (key and value texts that survive a restart) and the date texts.
 *
 * Open and close pairs may nest and run on several threads at once; the text of sysconf_getenv is valid until the
 * same thread's sysconf_closeenv. sysconf_closeenv may follow a failed sysconf_openenv. */
#ifndef KADREND_PLATFORM_SYSCONFENV_H
#define KADREND_PLATFORM_SYSCONFENV_H

#ifdef __cplusplus
extern "C" {
#endif

int sysconf_openenv(void);                              /* 0 on success */
const char* sysconf_getenv(const char* key);            /* null: absent, or the read failed */
int sysconf_setenv(const char* key, const char* value); /* 0 on success; stored at once, whole or not at all */
void sysconf_closeenv(void);

/* The board's local date and time as "YYYY-MM-DD" and "HH:MM:SS"; the buffer has room for 32 bytes. 0 on success. */
int sysconf_get_date_ymd(char* text);
int sysconf_get_date_hms(char* text);

#ifdef __cplusplus
}
#endif
#endif
