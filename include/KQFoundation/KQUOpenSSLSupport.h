#pragma once
// The crypto library's RSA, BIO, PEM and error-queue functions, opened at run
// time rather than linked. KQUOpenSSLLoad() opens the library once per process
// and fills the pointers; until then they are null. Each pointer has the
// signature of the crypto library function named beside it, so host code may
// call them directly.
//
// KQUPEMReadBIORSAPrivateKey is never filled by the loader: a host that wants
// private-key cryptors sets it (to PEM_read_bio_RSAPrivateKey) itself.
#include "KQFoundation/Export.h"

// The crypto library's own handle names, so its headers may be included too.
typedef struct rsa_st RSA;
typedef struct bio_st BIO;

/// Opens the crypto library (once; later calls return at once) and fills the
/// pointers below. When the library cannot be opened the process logs one
/// line and ends with exit status 1: nothing here can work without it.
KQ_EXPORT void KQUOpenSSLLoad();

KQ_EXPORT extern int (*KQURSAEncryptPublic)(int, const unsigned char*, unsigned char*, RSA*, int);   // RSA_public_encrypt
KQ_EXPORT extern int (*KQURSAEncryptPrivate)(int, const unsigned char*, unsigned char*, RSA*, int);  // RSA_private_encrypt
KQ_EXPORT extern int (*KQURSADecryptPublic)(int, const unsigned char*, unsigned char*, RSA*, int);   // RSA_public_decrypt
KQ_EXPORT extern int (*KQURSADecryptPrivate)(int, const unsigned char*, unsigned char*, RSA*, int);  // RSA_private_decrypt
KQ_EXPORT extern void (*KQUFreeRSAKey)(RSA*);                                                        // RSA_free
KQ_EXPORT extern int (*KQURSAsize)(const RSA*);                                                      // RSA_size
KQ_EXPORT extern BIO* (*KQUBIONewMemBuf)(const void*, int);                                          // BIO_new_mem_buf
KQ_EXPORT extern int (*KQUBIOfree)(BIO*);                                                            // BIO_free
KQ_EXPORT extern RSA* (*KQUPEMReadBIORSAPUBKEY)(BIO*, RSA**, int (*)(char*, int, int, void*), void*);  // PEM_read_bio_RSA_PUBKEY
KQ_EXPORT extern RSA* (*KQUPEMReadBIORSAPrivateKey)(BIO*, RSA**, int (*)(char*, int, int, void*),
                                                    void*);  // set by the host (PEM_read_bio_RSAPrivateKey)
KQ_EXPORT extern unsigned long (*KQUERRGetError)();                     // ERR_get_error
KQ_EXPORT extern char* (*KQUERRErrorString)(unsigned long, char*);      // ERR_error_string
KQ_EXPORT extern const char* (*KQUERRReasonErrorString)(unsigned long);  // ERR_reason_error_string
KQ_EXPORT extern int (*KQUERRLoadERRStrings)();                         // ERR_load_ERR_strings
KQ_EXPORT extern int (*KQUERRLoadRSAStrings)();                         // ERR_load_RSA_strings
