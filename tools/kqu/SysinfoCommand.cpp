// kqu sysinfo: the machine's model, processor, memory, system and graphics.
#include <cstdio>

#include "Command.h"
#include "JsonOutput.h"
#include "KQFoundation/KQUSystemInformation.h"
#include "KQFoundation/KQUUsingMemoryStatistics.h"

namespace {

void setIfPresent(kq::Dictionary& facts, const char* key, const std::optional<std::string>& value) {
    if (value) facts.setObject(key, *value);
}

// Zero is how the library says "unknown" for these counts.
void setIfKnown(kq::Dictionary& facts, const char* key, std::uint64_t value) {
    if (value) facts.setObject(key, value);
}

kq::Dictionary memoryUse() {
    const KQUUsingMemoryStatistics& statistics = KQUUsingMemoryStatistics::sharedMemoryStatistics();
    kq::Dictionary memory;
    memory.setObject("wired", statistics.wiredMemorySize());
    memory.setObject("active", statistics.activeMemorySize());
    memory.setObject("inactive", statistics.inactiveMemorySize());
    memory.setObject("compressed", statistics.compressedMemorySize());
    memory.setObject("free", statistics.freeMemorySize());
    memory.setObject("stolen", statistics.stolenMemorySize());
    return memory;
}

kq::Dictionary gatherFacts() {
    kq::Dictionary facts = KQUSystemInformation::miniSystemProfile();
    setIfPresent(facts, "ModelIdentifier", KQUSystemInformation::modelIdentifier());
    setIfPresent(facts, "ComputerName", KQUSystemInformation::computerName());
    setIfPresent(facts, "SerialNumber", KQUSystemInformation::computerSerialNumber());
    setIfPresent(facts, "MACAddress", KQUSystemInformation::macAddressString());
    setIfPresent(facts, "CPUBrandString", KQUSystemInformation::CPUBrandString());
    setIfKnown(facts, "CPUFrequency", KQUSystemInformation::CPUFrequency());
    setIfKnown(facts, "CPUPackagesCount", KQUSystemInformation::CPUPackagesCount());
    setIfKnown(facts, "CPUCoresCount", KQUSystemInformation::CPUCoresCount());
    setIfKnown(facts, "MemorySize", KQUSystemInformation::memorySize());
    if (std::string size = KQUSystemInformation::humanReadableMemorySizeString(); size != "N/A")
        facts.setObject("HumanReadableMemorySize", size);
    // The boot time is known to the second only.
    if (auto boot = KQUSystemInformation::bootDate())
        facts.setObject("BootDate", kqu::iso8601(std::chrono::floor<std::chrono::seconds>(*boot)));
    setIfPresent(facts, "SystemVersionString", KQUSystemInformation::systemVersionString());
    setIfPresent(facts, "DefaultWebBrowser", KQUSystemInformation::defaultWebBrowserName());
    facts.setObject("Memory", memoryUse());
    const kq::Dictionary graphics = KQUSystemInformation::graphicsInformation();
    if (const kq::Array* gpus = graphics.arrayValueForKey(kKQUGPUsKey)) facts.setObject("GPUs", *gpus);
    if (const kq::Array* displays = graphics.arrayValueForKey(kKQUDisplaysKey)) facts.setObject("Displays", *displays);
    return facts;
}

std::string scalarText(const kq::Value& value) {
    if (const std::string* text = value.asString()) return *text;
    return kqu::toJSON(value, kqu::JsonStyle::Compact);
}

// "Key: value" lines; nested dictionaries and lists indent below their key.
void printText(const kq::Dictionary& dictionary, int indent) {
    const std::string pad(static_cast<std::size_t>(indent), ' ');
    dictionary.forEach([&](const std::string& key, const kq::Value& value) {
        if (const kq::Dictionary* nested = value.asDictionary()) {
            std::printf("%s%s:\n", pad.c_str(), key.c_str());
            printText(*nested, indent + 2);
        } else if (const kq::Array* list = value.asArray()) {
            if (list->empty()) return;
            std::printf("%s%s:\n", pad.c_str(), key.c_str());
            for (const kq::Value& element : *list) {
                if (const kq::Dictionary* entry = element.asDictionary()) {
                    std::printf("%s  -\n", pad.c_str());
                    printText(*entry, indent + 4);
                } else {
                    std::printf("%s  - %s\n", pad.c_str(), scalarText(element).c_str());
                }
            }
        } else {
            std::printf("%s%s: %s\n", pad.c_str(), key.c_str(), scalarText(value).c_str());
        }
    });
}

struct SysinfoOptions {
    bool json = false;
};

const kqu::CommandRegistration registration{{
    "sysinfo",
    "Describe this machine: model, processor, memory, system, graphics",
    [](CLI::App& app) -> std::function<int()> {
        auto options = std::make_shared<SysinfoOptions>();
        app.add_flag("--json", options->json, "Print one JSON document");
        return [options] {
            const kq::Dictionary facts = gatherFacts();
            if (options->json) {
                std::printf("%s\n", kqu::toJSON(facts).c_str());
            } else {
                printText(facts, 0);
            }
            return kqu::kExitSuccess;
        };
    },
}};

}  // namespace
