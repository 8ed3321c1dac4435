# Every dependency comes from Debian's packages (scripts/setup installs them).
# The same calls are repeated by KQFoundationConfig.cmake for consumers.
find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)
pkg_check_modules(KQ_ICU REQUIRED IMPORTED_TARGET icu-uc icu-i18n)
pkg_check_modules(KQ_CURL REQUIRED IMPORTED_TARGET libcurl)
pkg_check_modules(KQ_XML2 REQUIRED IMPORTED_TARGET libxml-2.0)
pkg_check_modules(KQ_LIBCRYPTO REQUIRED IMPORTED_TARGET libcrypto)
pkg_check_modules(KQ_ARCHIVE REQUIRED IMPORTED_TARGET libarchive)
pkg_check_modules(KQ_STB REQUIRED IMPORTED_TARGET stb)
pkg_check_modules(KQ_WEBP REQUIRED IMPORTED_TARGET libwebp)
pkg_check_modules(KQ_UV REQUIRED IMPORTED_TARGET libuv)
