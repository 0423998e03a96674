/* Network settings of the board. 0 on success. */
#ifndef KADREND_PLATFORM_NETINFO_H
#define KADREND_PLATFORM_NETINFO_H

#ifdef __cplusplus
extern "C" {
#endif

int netinfo_set_eth_mode(int mode); /* 0: static addressing */
int netinfo_set_curr_ip(const char* address, const char* netmask, const char* gateway);

#ifdef __cplusplus
}
#endif
#endif
