// The profiler's plain-text layout: a title per data type, items indented by
// four spaces, their "Label: value" lines by six, nested items deeper.
#include <ctime>

#include "SystemProfilerReports.h"

namespace kq::systemprofiler {

namespace {

using Labels = std::vector<std::pair<const char*, const char*>>;

std::string valueText(const Value& value) {
    if (const std::string* text = value.asString()) return *text;
    if (value.isInteger()) return std::to_string(value.integerValue());
    if (const Date* date = value.asDate()) {
        const auto seconds = static_cast<std::time_t>(std::chrono::floor<std::chrono::seconds>(*date).time_since_epoch().count());
        std::tm parts{};
        gmtime_r(&seconds, &parts);
        char text[32];
        std::strftime(text, sizeof text, "%Y-%m-%d %H:%M", &parts);
        return text;
    }
    return {};
}

void appendLines(std::string& out, const Dictionary& item, const Labels& labels, std::string_view indent) {
    for (const auto& [key, label] : labels)
        if (const Value* value = item.objectForKey(key))
            if (std::string text = valueText(*value); !text.empty())
                out.append(indent).append(label).append(": ").append(text).append("\n");
}

std::string upperFirst(std::string text) {
    if (text == "ok") return "OK";
    if (!text.empty() && text[0] >= 'a' && text[0] <= 'z') text[0] = static_cast<char>(text[0] - 'a' + 'A');
    return text;
}

void hardwareText(std::string& out, const Array& items) {
    static const Labels labels{{"machine_name", "Model Name"},
                               {"machine_model", "Model Identifier"},
                               {"cpu_type", "Processor Name"},
                               {"current_processor_speed", "Processor Speed"},
                               {"packages", "Number of Processors"},
                               {"number_processors", "Total Number of Cores"},
                               {"physical_memory", "Memory"},
                               {"serial_number", "Serial Number (system)"}};
    out += "Hardware:\n\n";
    for (const Value& element : items)
        if (const Dictionary* item = element.asDictionary()) {
            out += "    Hardware Overview:\n\n";
            appendLines(out, *item, labels, "      ");
            out += "\n";
        }
}

void memoryText(std::string& out, const Array& groups) {
    static const Labels labels{{"dimm_size", "Size"},
                               {"dimm_type", "Type"},
                               {"dimm_speed", "Speed"},
                               {"dimm_status", "Status"},
                               {"dimm_manufacturer", "Manufacturer"},
                               {"dimm_part_number", "Part Number"},
                               {"dimm_serial_number", "Serial Number"}};
    out += "Memory:\n\n";
    for (const Value& groupValue : groups) {
        const Dictionary* group = groupValue.asDictionary();
        if (!group) continue;
        out += "    " + valueText(group->objectForKey("_name") ? *group->objectForKey("_name") : Value()) + ":\n\n";
        const Array* modules = group->arrayValueForKey("_items");
        if (!modules) continue;
        for (const Value& moduleValue : *modules) {
            const Dictionary* module = moduleValue.asDictionary();
            if (!module) continue;
            Dictionary shown = *module;
            for (const char* key : {"dimm_status", "dimm_size", "dimm_type"})
                if (const std::string* text = module->stringValueForKey(key)) shown.setObject(key, upperFirst(*text));
            const std::string* name = module->stringValueForKey("_name");
            out += "        " + (name ? *name : std::string("Slot")) + ":\n\n";
            appendLines(out, shown, labels, "          ");
            out += "\n";
        }
    }
}

void displaysText(std::string& out, const Array& items) {
    static const Labels gpuLabels{{"sppci_model", "Chipset Model"},
                                  {"type", "Type"},
                                  {"bus", "Bus"},
                                  {"spdisplays_vram", "VRAM (Total)"},
                                  {"spdisplays_vram_shared", "VRAM (Dynamic, Max)"},
                                  {"spdisplays_vendor", "Vendor"},
                                  {"spdisplays_device-id", "Device ID"},
                                  {"spdisplays_revision-id", "Revision ID"}};
    static const Labels displayLabels{{"_spdisplays_pixels", "Resolution"},
                                      {"connection", "Connection Type"},
                                      {"_spdisplays_display-year", "Year of Manufacture"},
                                      {"_spdisplays_display-week", "Week of Manufacture"}};
    out += "Graphics/Displays:\n\n";
    for (const Value& element : items) {
        const Dictionary* gpu = element.asDictionary();
        if (!gpu) continue;
        Dictionary shown = *gpu;
        shown.setObject("type", "GPU");
        const std::string* bus = gpu->stringValueForKey("sppci_bus");
        shown.setObject("bus", bus && *bus == "spdisplays_builtin" ? "Built-In" : "PCIe");
        const std::string* name = gpu->stringValueForKey("_name");
        out += "    " + (name ? *name : std::string("Graphics")) + ":\n\n";
        appendLines(out, shown, gpuLabels, "      ");
        if (const Array* displays = gpu->arrayValueForKey("spdisplays_ndrvs")) {
            out += "      Displays:\n";
            for (const Value& displayValue : *displays) {
                const Dictionary* display = displayValue.asDictionary();
                if (!display) continue;
                Dictionary shownDisplay = *display;
                const std::string* connection = display->stringValueForKey("spdisplays_connection_type");
                shownDisplay.setObject("connection",
                                       connection && *connection == "spdisplays_internal" ? "Internal" : "External");
                const std::string* displayName = display->stringValueForKey("_name");
                out += "        " + (displayName ? *displayName : std::string("Display")) + ":\n";
                appendLines(out, shownDisplay, displayLabels, "          ");
            }
        }
        out += "\n";
    }
}

void applicationsText(std::string& out, const Array& items) {
    static const Labels labels{{"version", "Version"}, {"lastModified", "Last Modified"}, {"info", "Get Info String"},
                               {"path", "Location"}};
    out += "Applications:\n\n";
    for (const Value& element : items) {
        const Dictionary* application = element.asDictionary();
        if (!application) continue;
        const std::string* name = application->stringValueForKey("_name");
        out += "    " + (name ? *name : std::string("Application")) + ":\n\n";
        appendLines(out, *application, labels, "      ");
        out += "\n";
    }
}

}  // namespace

std::string reportText(const Dictionary& report) {
    std::string out;
    const std::string* type = report.stringValueForKey("_dataType");
    const Array* items = report.arrayValueForKey("_items");
    if (!type || !items) return out;
    if (*type == "SPHardwareDataType") hardwareText(out, *items);
    else if (*type == "SPMemoryDataType") memoryText(out, *items);
    else if (*type == "SPDisplaysDataType") displaysText(out, *items);
    else if (*type == "SPApplicationsDataType") applicationsText(out, *items);
    return out;
}

}  // namespace kq::systemprofiler
