// The marketing model name, asked of the product-description service in the
// background: GET <service>/sp/product?cc=<serial number from its 9th character>,
// whose XML reply names the model in its root's first "configCode" child.
#include <curl/curl.h>

#include <mutex>
#include <thread>

#include "Foundation/UnicodeText.h"
#include "KQFoundation/KQUSystemInformation.h"
#include "KQFoundation/Foundation/PathUtilities.h"
#include "KQFoundation/NSXMLNode+KQFoundation.h"
#include "SystemInformationState.h"

namespace state = kq::systeminformation;

namespace {

// Matches the platform's default request time-out.
constexpr long kRequestTimeoutSeconds = 60;

void initializeLibrariesOnce() {
    static std::once_flag once;
    std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
}

std::size_t appendToString(char* bytes, std::size_t size, std::size_t count, void* userData) {
    static_cast<std::string*>(userData)->append(bytes, size * count);
    return size * count;
}

std::optional<std::string> fetch(const std::string& url) {
    CURL* handle = curl_easy_init();
    if (!handle) return std::nullopt;
    std::string body;
    curl_easy_setopt(handle, CURLOPT_URL, url.c_str());
    curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, appendToString);
    curl_easy_setopt(handle, CURLOPT_WRITEDATA, &body);
    curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(handle, CURLOPT_FOLLOWLOCATION, 1L);
    curl_easy_setopt(handle, CURLOPT_TIMEOUT, kRequestTimeoutSeconds);
    const CURLcode result = curl_easy_perform(handle);
    curl_easy_cleanup(handle);
    // Like the platform's synchronous request, any reply counts as data whatever its HTTP status.
    if (result != CURLE_OK || body.empty()) return std::nullopt;
    return body;
}

std::optional<std::string> firstConfigCode(const std::string& reply) {
    const auto document = kq::XMLDocument::create(reply);
    const kq::XMLElement* code = document ? document->rootElement()->elementForName("configCode") : nullptr;
    if (!code) return std::nullopt;
    return code->stringValue();
}

void lookUpMarketingName(std::uint64_t generation) {
    const auto serial = KQUSystemInformation::computerSerialNumber();
    const auto code = serial ? kq::substringFromUTF16Index(*serial, 8) : std::nullopt;
    const auto service = KQUSystemInformation::productDescriptionServiceURL();
    if (!code || code->empty() || !service) return;
    initializeLibrariesOnce();
    const std::string url = *service + "/sp/product?cc=" +
                            kq::stringByAddingPercentEscapes(*code, kq::kURLReservedCharactersToEscape);
    const auto reply = fetch(url);
    if (!reply) return;
    if (auto name = firstConfigCode(*reply)) {
        state::State& s = state::state();
        std::lock_guard lock(s.mutex);
        if (s.generation == generation) s.marketingModelName = std::move(name);
    }
}

}  // namespace

std::optional<std::string> KQUSystemInformation::humanMachineTypeWithYear() {
    std::uint64_t generation = 0;
    {
        state::State& s = state::state();
        std::lock_guard lock(s.mutex);
        if (s.marketingModelName) return s.marketingModelName;
        generation = s.generation;
    }
    // Never blocks: each call made while the name is unknown starts another lookup.
    std::thread(lookUpMarketingName, generation).detach();
    return std::nullopt;
}
