#pragma once
// NSFileManager(MD5HashCalculation): the MD5 digest of a file, or of every
// regular file below a folder, as members of kq::FileManager (declared in its
// category block in FileManager.h):
//
//   md5HashStringForItemAtURL(url, chunkSize)
//       32 lower-case hexadecimal characters, or nullopt. A file is read in
//       pieces of chunkSize bytes. A folder is walked deeply in the
//       enumerator's order (names in byte order, a folder's contents right
//       after it) and the digest covers the concatenated contents of its
//       regular files; symbolic links are neither followed nor hashed, and
//       folders that cannot be read are skipped. nullopt when the item does
//       not exist, is not a file URL, a file cannot be opened or read, or a
//       folder holds no regular file.
//   md5HashStringForItemAtURL(url)
//       The same with chunk size 0, and a chunk size of 0 reads nothing: the
//       result is the digest of no bytes, d41d8cd98f00b204e9800998ecf8427e,
//       for every readable file. Pass a chunk size to hash the contents.
//   updateHash(context, url, chunkSize)
//       Feeds the file into the running digest, reading pieces of chunkSize
//       bytes (a 4096-byte buffer for 0, but each read still asks for
//       chunkSize) until a read returns 0. True only when the file was read to
//       its end; false for no context, a file that cannot be opened, a buffer
//       that cannot be allocated, or a read error.
#include "KQFoundation/MD5Context.h"
#include "KQFoundation/System/FileManager.h"
