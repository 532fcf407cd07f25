#pragma once

// The sandbox Kestrel and Harrier services (tools/sandbox) as a child
// process on free loopback ports, with a small client for their JSON admin
// interface. Meant to be started once per test program (its first start
// generates keys for a few seconds) and shared by the cases, which use the
// admin interface to arrange and inspect what they need.

#include "tests/mock/ChildProcess.h"
#include "tests/mock/TempDir.h"

#include <json/value.h>

#include <memory>
#include <string>
#include <vector>

namespace orvane::test {

class SandboxServices {
public:
    // Starts the sandbox in a state folder of its own and waits (bounded)
    // until it listens. `configOut`, when not empty, receives the
    // applicationConfig-2.properties that points the agent at it; its folder
    // is created. `extraArguments` go on the sandbox's command line.
    //
    // `pkiCache`, when not empty, is a folder where the generated keys and
    // certificates are kept for later starts (by this or other test
    // programs), which spares the seconds of key generation.
    explicit SandboxServices(const std::string& configOut = {},
                             const std::vector<std::string>& extraArguments = {},
                             const std::string& pkiCache = {});
    // Stops the sandbox (SIGTERM, then SIGKILL if it lingers).
    ~SandboxServices();
    SandboxServices(const SandboxServices&) = delete;
    SandboxServices& operator=(const SandboxServices&) = delete;

    // The port of the Kestrel service, which also serves the admin interface.
    unsigned kestrelPort() const;

    // One exchange with the admin interface ("/admin" + path). Throws
    // std::runtime_error when no answer came; answers with an error status
    // are returned with it (see lastStatus()).
    Json::Value get(const std::string& path);
    Json::Value post(const std::string& path, const Json::Value& body = Json::Value(Json::objectValue));
    Json::Value remove(const std::string& path);
    int lastStatus() const { return lastStatus_; }

    // Shortcuts for what most cases do.
    Json::Value seed();
    // Requests of one phone in one state ("pending", "approved"...); empty
    // arguments match all.
    std::vector<Json::Value> requests(const std::string& state, const std::string& kind = {},
                                      const std::string& deviceCode = {});
    void approve(const std::string& requestId);
    void deny(const std::string& requestId);
    // Answers every pending request of one kind on one phone (all phones
    // when the code is empty).
    void answerPending(const std::string& kind, const std::string& deviceCode, bool approve = true);
    // A planned fault (see the sandbox's README): {"path", "status" | "drop"...}.
    void addFault(const Json::Value& fault);
    void clearFaults();
    // The planned faults with their "hits" so far.
    std::vector<Json::Value> faults();
    // Back to answering by hand only.
    void stopAutoApproval();
    // The device codes of an identity's phones (by display name or slug),
    // in the seed's order.
    std::vector<std::string> deviceCodesOf(const std::string& identityName);

private:
    Json::Value exchange(const char* method, const std::string& path, const std::string& body);

    TempDir state_;
    std::unique_ptr<BackgroundProcess> process_;
    Json::Value info_;
    int lastStatus_ = 0;
};

// Faults for addFault(): the next `count` calls whose path contains `path`
// answer `status` (with `body` when given), or lose their connection.
Json::Value fault(const std::string& path, int status, const Json::Value& body = Json::Value(), int count = 1);
Json::Value drop(const std::string& path, int count = 1);

} // namespace orvane::test
