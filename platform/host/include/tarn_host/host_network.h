/**
 * @file host_network.h
 * @brief What the host platform's address blocks hold.
 *
 * `TarnOmDevmNetGetIpv4Block` and `TarnOmDevmNetGetIpv6Block` read the addresses of this machine at each call, from any
 * thread. The block is `OM_DEVICE_NETWORK_BLOCK_LEN` bytes: the address as NUL-terminated text as inet_ntop writes it
 * ("192.0.2.7", "2001:db8::7"), the rest zero bytes.
 *
 * An interface has the number that the kernel gave it, which `ip link` shows before its name. Number 0 stands for the
 * first interface with an address of the family. Of several addresses the first counts that others can reach the
 * interface by: not loopback (127.0.0.0/8, ::1), not link-local (169.254.0.0/16, fe80::/10), not unspecified.
 *
 * Results: 0; EINVAL for a null buffer; EADDRNOTAVAIL when there is no such interface or it has no such address; else
 * the `errno` of getifaddrs. Failures leave the buffer as it was.
 */
#ifndef TARN_HOST_HOST_NETWORK_H
#define TARN_HOST_HOST_NETWORK_H

#include "tarn_platform/om_device_network.h"

/** Number of the first interface with an address of the family. */
#define TARN_HOST_NETWORK_ANY_INTERFACE 0U

#endif
