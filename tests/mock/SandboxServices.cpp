#include "tests/mock/SandboxServices.h"

#include <json/reader.h>
#include <json/writer.h>

#include <curl/curl.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <sstream>
#include <stdexcept>
#include <thread>

#ifndef ORVANE_SYSTEM_PYTHON
#define ORVANE_SYSTEM_PYTHON "/usr/bin/python3"
#endif

namespace orvane::test {

namespace {

const char* const kSandboxScript = ORVANE_SOURCE_DIR "/tools/sandbox/orvane_sandbox.py";

Json::Value parseJson(const std::string& text)
{
    Json::Value value;
    Json::CharReaderBuilder builder;
    std::istringstream stream(text);
    std::string errors;
    if (!Json::parseFromStream(builder, stream, &value, &errors))
        return Json::Value();
    return value;
}

std::string shellQuote(const std::string& text)
{
    std::string quoted = "'";
    for (char c : text)
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

// Copies the generated keys to the cache once, whole or not at all, so that
// programs starting side by side never see half a cache.
void keepPki(const std::filesystem::path& pki, const std::string& cache)
{
    namespace fs = std::filesystem;
    if (cache.empty() || fs::exists(cache))
        return;
    std::error_code ignored;
    fs::create_directories(fs::path(cache).parent_path(), ignored);
    const fs::path staging = cache + ".tmp-" + std::to_string(::getpid());
    fs::copy(pki, staging, fs::copy_options::recursive, ignored);
    if (ignored || (fs::rename(staging, cache, ignored), ignored))
        fs::remove_all(staging, ignored);
}

} // namespace

SandboxServices::SandboxServices(const std::string& configOut, const std::vector<std::string>& extraArguments,
                                 const std::string& pkiCache)
{
    namespace fs = std::filesystem;
    const fs::path pki = fs::path(state_.path()) / "pki";
    if (!pkiCache.empty() && fs::is_directory(pkiCache))
        fs::copy(pkiCache, pki, fs::copy_options::recursive);
    const std::string ready = state_.file("ready.json");
    // Tied to this process, so a test program that dies leaves no sandbox
    // behind.
    const std::string tie = std::filesystem::exists("/usr/bin/setpriv") ? "/usr/bin/setpriv --pdeathsig TERM " : "";
    std::string command = "exec " + tie + shellQuote(ORVANE_SYSTEM_PYTHON) + " " + shellQuote(kSandboxScript)
        + " --state-dir " + shellQuote(state_.path()) + " --kestrel-port 0 --harrier-port 0 --ready-file "
        + shellQuote(ready) + " --quiet";
    if (!configOut.empty()) {
        std::filesystem::create_directories(std::filesystem::path(configOut).parent_path());
        command += " --config-out " + shellQuote(configOut);
    }
    for (const std::string& argument : extraArguments)
        command += " " + shellQuote(argument);
    command += " >" + shellQuote(state_.file("sandbox.log")) + " 2>&1";
    process_ = std::make_unique<BackgroundProcess>(std::vector<std::string>{"/bin/sh", "-c", command});

    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(90);
    while (std::chrono::steady_clock::now() < deadline) {
        if (std::filesystem::exists(ready)) {
            info_ = parseJson(readFile(ready));
            if (info_.isObject()) {
                keepPki(pki, pkiCache);
                return;
            }
        }
        if (!process_->running())
            throw std::runtime_error("sandbox ended at start: " + readFile(state_.file("sandbox.log")));
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    throw std::runtime_error("sandbox did not get ready: " + readFile(state_.file("sandbox.log")));
}

SandboxServices::~SandboxServices()
{
    if (!process_ || !process_->running())
        return;
    process_->kill(SIGTERM);
    for (int i = 0; i < 100 && process_->running(); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    if (process_->running())
        process_->kill(SIGKILL);
    process_->wait();
}

unsigned SandboxServices::kestrelPort() const { return info_["kestrel_port"].asUInt(); }

Json::Value SandboxServices::exchange(const char* method, const std::string& path, const std::string& body)
{
    const std::unique_ptr<CURL, void (*)(CURL*)> curl(curl_easy_init(), curl_easy_cleanup);
    const std::string url = "http://127.0.0.1:" + std::to_string(kestrelPort()) + "/admin" + path;
    std::string answer;
    const std::unique_ptr<curl_slist, void (*)(curl_slist*)> headers(
        curl_slist_append(nullptr, "Content-Type: application/json"), curl_slist_free_all);
    curl_easy_setopt(curl.get(), CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl.get(), CURLOPT_CUSTOMREQUEST, method);
    curl_easy_setopt(curl.get(), CURLOPT_HTTPHEADER, headers.get());
    if (std::string(method) != "GET")
        curl_easy_setopt(curl.get(), CURLOPT_POSTFIELDS, body.c_str());
    curl_easy_setopt(curl.get(), CURLOPT_NOPROXY, "*");
    curl_easy_setopt(curl.get(), CURLOPT_TIMEOUT, 30L);
    curl_easy_setopt(curl.get(), CURLOPT_WRITEDATA, &answer);
    curl_easy_setopt(curl.get(), CURLOPT_WRITEFUNCTION, +[](char* data, size_t size, size_t count, void* to) {
        static_cast<std::string*>(to)->append(data, size * count);
        return size * count;
    });
    const CURLcode result = curl_easy_perform(curl.get());
    if (result != CURLE_OK)
        throw std::runtime_error(std::string("sandbox admin interface: ") + curl_easy_strerror(result));
    long status = 0;
    curl_easy_getinfo(curl.get(), CURLINFO_RESPONSE_CODE, &status);
    lastStatus_ = static_cast<int>(status);
    return parseJson(answer);
}

Json::Value SandboxServices::get(const std::string& path) { return exchange("GET", path, {}); }

Json::Value SandboxServices::post(const std::string& path, const Json::Value& body)
{
    return exchange("POST", path, Json::writeString(Json::StreamWriterBuilder(), body));
}

Json::Value SandboxServices::remove(const std::string& path) { return exchange("DELETE", path, {}); }

Json::Value SandboxServices::seed() { return get("/seed"); }

std::vector<Json::Value> SandboxServices::requests(const std::string& state, const std::string& kind,
                                                   const std::string& deviceCode)
{
    std::string query;
    auto add = [&](const char* name, const std::string& value) {
        if (!value.empty())
            query += (query.empty() ? "?" : "&") + std::string(name) + "=" + value;
    };
    add("state", state);
    add("kind", kind);
    add("device", deviceCode);
    std::vector<Json::Value> found;
    const Json::Value answer = get("/requests" + query);
    for (const Json::Value& request : answer["requests"])
        found.push_back(request);
    return found;
}

void SandboxServices::approve(const std::string& requestId)
{
    post("/requests/" + requestId + "/approve");
    if (lastStatus_ != 200)
        throw std::runtime_error("sandbox refused to approve " + requestId);
}

void SandboxServices::deny(const std::string& requestId)
{
    post("/requests/" + requestId + "/deny");
    if (lastStatus_ != 200)
        throw std::runtime_error("sandbox refused to deny " + requestId);
}

void SandboxServices::answerPending(const std::string& kind, const std::string& deviceCode, bool approveThem)
{
    for (const Json::Value& request : requests("pending", kind, deviceCode))
        approveThem ? approve(request["id"].asString()) : deny(request["id"].asString());
}

void SandboxServices::addFault(const Json::Value& fault)
{
    post("/faults", fault);
    if (lastStatus_ / 100 != 2)
        throw std::runtime_error("sandbox refused the fault");
}

void SandboxServices::clearFaults() { remove("/faults"); }

std::vector<Json::Value> SandboxServices::faults()
{
    std::vector<Json::Value> found;
    const Json::Value answer = get("/faults");
    for (const Json::Value& fault : answer.isArray() ? answer : answer["faults"])
        found.push_back(fault);
    return found;
}

void SandboxServices::stopAutoApproval()
{
    Json::Value rule(Json::objectValue);
    rule["afterPolls"] = Json::Value();
    rule["afterMs"] = Json::Value();
    post("/auto-approve", rule);
}

Json::Value fault(const std::string& path, int status, const Json::Value& body, int count)
{
    Json::Value f(Json::objectValue);
    f["path"] = path;
    f["status"] = status;
    if (!body.isNull())
        f["body"] = body;
    f["count"] = count;
    return f;
}

Json::Value drop(const std::string& path, int count)
{
    Json::Value f(Json::objectValue);
    f["path"] = path;
    f["drop"] = true;
    f["count"] = count;
    return f;
}

std::vector<std::string> SandboxServices::deviceCodesOf(const std::string& identityName)
{
    std::vector<std::string> codes;
    const Json::Value all = seed();
    for (const Json::Value& identity : all["identities"]) {
        if (identity["displayName"].asString() != identityName && identity["slug"].asString() != identityName)
            continue;
        for (const Json::Value& device : identity["devices"])
            codes.push_back(device["deviceCode"].asString());
    }
    return codes;
}

} // namespace orvane::test
