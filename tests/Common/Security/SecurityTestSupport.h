#pragma once
// Keys made once per test run with the openssl command, and the host's
// private-key reader installed, as an application using private keys would.
#define OPENSSL_SUPPRESS_DEPRECATED
#include <openssl/pem.h>

#include <cstdlib>
#include <string>

#include "KQFoundation/KQUCryptor.h"
#include "Support/TemporaryDirectory.h"

namespace kqtest {

/// Runs a shell command quietly; true when it exits with 0.
inline bool run(const std::string& command) {
    return std::system((command + " >/dev/null 2>&1").c_str()) == 0;
}

struct KeyPair {
    std::string privateFile, publicFile;
    std::string privatePEM, publicPEM;
};

struct TestKeys {
    TemporaryDirectory dir;
    KeyPair main, foreign;

    TestKeys() {
        KQUOpenSSLLoad();
        KQUPEMReadBIORSAPrivateKey = &PEM_read_bio_RSAPrivateKey;
        main = make("main");
        foreign = make("foreign");
    }

    KeyPair make(const std::string& name) {
        KeyPair pair{dir / (name + ".pem"), dir / (name + ".pub.pem"), {}, {}};
        run("openssl genrsa -out " + pair.privateFile + " 2048 && openssl rsa -in " + pair.privateFile +
            " -pubout -out " + pair.publicFile);
        pair.privatePEM = readText(pair.privateFile);
        pair.publicPEM = readText(pair.publicFile);
        return pair;
    }
};

/// The run's keys, generated on first use.
inline const TestKeys& keys() {
    static const TestKeys instance;
    return instance;
}

}  // namespace kqtest
