#pragma once
// KQUXMLBasedDocument(KQUConvenienceInitializers): versioned documents that
// arrive as base64 text of RSA-encrypted XML, as static members of
// KQUXMLBasedDocument (declared in its category block), templates on the
// class to make like initWithXMLDocument<T>():
//
//   initWithEncryptedPlainData<T>(data, key)  data is base64 text (UTF-8);
//       it is decoded, decrypted with the PEM key text (padding PKCS#1, see
//       KQUCryptor) and parsed as XML, then opened as initWithXMLDocument<T>.
//   initWithEncryptedGzipData<T>(data, key)   the same, except that the
//       decrypted bytes must be gzip and are inflated before parsing.
//
// Every failure (no text, not base64, nothing decrypted, no key, not gzip,
// not XML, refused by T) gives nullptr.
#include "KQFoundation/KQUXMLBasedDocument.h"
