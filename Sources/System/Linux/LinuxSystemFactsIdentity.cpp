// Model, serial number, computer name and network addresses on Linux.
//
// Model: the firmware's DMI product name (PCs), else the device tree's
// "model" (boards; its text ends in a NUL, which the caller drops), else the
// ACPI tables' OEM and table ids (virtual machines without DMI).
#include <unistd.h>

#include <climits>

#include "LinuxFiles.h"
#include "LinuxSystemFacts.h"

namespace kq {

using namespace linuxfiles;

namespace {

constexpr std::string_view kDMIFolder = "/sys/class/dmi/id/";
constexpr std::string_view kDeviceTreeFolder = "/sys/firmware/devicetree/base/";
constexpr int kARPHardwareLoopback = 772;

Data bytesOf(std::string_view text) { return Data(text.begin(), text.end()); }

// Fixed-width fields of ACPI headers are padded with spaces or NULs.
std::string acpiField(std::string_view bytes) {
    while (!bytes.empty() && (bytes.back() == ' ' || bytes.back() == '\0')) bytes.remove_suffix(1);
    return std::string(bytes);
}

// "02:fc:00:00:00:01" -> 6 bytes; nullopt for anything else.
std::optional<Data> parseHardwareAddress(std::string_view text) {
    Data bytes;
    for (std::string_view part : split(trim(text), ':')) {
        if (part.size() != 2) return std::nullopt;
        auto value = parseNumber(part, true);
        if (!value) return std::nullopt;
        bytes.push_back(static_cast<std::uint8_t>(*value));
    }
    if (bytes.empty()) return std::nullopt;
    return bytes;
}

}  // namespace

std::optional<Data> LinuxSystemFacts::deviceTreeModel() const {
    if (auto product = readTrimmed(path(std::string(kDMIFolder) + "product_name"))) return bytesOf(*product);
    if (auto model = readFile(path(std::string(kDeviceTreeFolder) + "model")); model && !model->empty())
        return bytesOf(*model);
    if (auto fadt = readFile(path("/sys/firmware/acpi/tables/FACP"), 64); fadt && fadt->size() >= 24) {
        std::string oem = acpiField(std::string_view(*fadt).substr(10, 6));
        std::string table = acpiField(std::string_view(*fadt).substr(16, 8));
        std::string model = oem.empty() ? table : table.empty() ? oem : oem + " " + table;
        if (!model.empty()) return bytesOf(model);
    }
    return std::nullopt;
}

std::optional<std::string> LinuxSystemFacts::modelIdentifier() const {
    // A board's first "compatible" entry ("vendor,board") is its model identifier.
    if (auto compatible = readFile(path(std::string(kDeviceTreeFolder) + "compatible"))) {
        std::string first(compatible->c_str());
        if (!first.empty()) return first;
    }
    if (auto product = readTrimmed(path(std::string(kDMIFolder) + "product_name"))) return product;
    if (auto model = deviceTreeModel()) {
        std::string text(model->begin(), model->end());
        while (!text.empty() && text.back() == '\0') text.pop_back();
        if (!text.empty()) return text;
    }
    return std::nullopt;
}

std::optional<std::string> LinuxSystemFacts::modelName() const {
    const auto vendor = readTrimmed(path(std::string(kDMIFolder) + "sys_vendor"));
    auto family = readTrimmed(path(std::string(kDMIFolder) + "product_family"));
    if (!family) family = readTrimmed(path(std::string(kDMIFolder) + "product_name"));
    if (family) {
        if (vendor && family->find(*vendor) == std::string::npos) return *vendor + " " + *family;
        return family;
    }
    if (auto model = readFile(path(std::string(kDeviceTreeFolder) + "model"))) {
        std::string text(model->c_str());
        if (!text.empty()) return text;
    }
    return modelIdentifier();
}

std::optional<std::string> LinuxSystemFacts::platformSerialNumber() const {
    // product_serial is readable by root only; boards keep theirs in the device tree.
    if (auto serial = readTrimmed(path(std::string(kDMIFolder) + "product_serial"))) return serial;
    if (auto serial = readFile(path(std::string(kDeviceTreeFolder) + "serial-number"))) {
        std::string text(trim(std::string_view(serial->c_str())));
        if (!text.empty()) return text;
    }
    return std::nullopt;
}

std::optional<std::string> LinuxSystemFacts::computerName() const {
    if (auto info = readFile(path("/etc/machine-info"))) {
        if (auto pretty = valueForKey(shellAssignments(*info), "PRETTY_HOSTNAME"); pretty && !pretty->empty())
            return pretty;
    }
    if (auto hostname = readFile(path("/etc/hostname"))) {
        for (std::string_view line : split(*hostname, '\n')) {
            line = trim(line);
            if (!line.empty() && line.front() != '#') return std::string(line);
        }
    }
    if (options_.root == "/") {
        char name[HOST_NAME_MAX + 1] = {};
        if (::gethostname(name, sizeof name - 1) == 0 && name[0]) return std::string(name);
    }
    return std::nullopt;
}

// "en0", "en1"... name the first, second... interface that has a hardware
// address and is not a loopback, in the order of the interface names.
std::optional<NetworkInterfaceFact> LinuxSystemFacts::networkInterface(std::string_view bsdName) const {
    if (bsdName.size() < 3 || bsdName.substr(0, 2) != "en") return std::nullopt;
    const auto index = parseNumber(bsdName.substr(2));
    if (!index) return std::nullopt;

    const std::string folder = path("/sys/class/net");
    std::uint64_t seen = 0;
    for (const std::string& name : listDirectory(folder)) {
        const std::string base = folder + "/" + name + "/";
        if (name == "lo" || readNumber(base + "type") == static_cast<std::uint64_t>(kARPHardwareLoopback)) continue;
        const auto addressText = readTrimmed(base + "address");
        if (!addressText) continue;
        if (seen++ != *index) continue;
        NetworkInterfaceFact fact;
        fact.services.push_back(NetworkServiceFact{0, parseHardwareAddress(*addressText)});
        return fact;
    }
    return std::nullopt;
}

}  // namespace kq
