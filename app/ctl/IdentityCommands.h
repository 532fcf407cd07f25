#pragma once

#include <istream>
#include <ostream>
#include <string>
#include <vector>

namespace orvane::ctl {

// Commands that change this computer's identity through the services.
// Exit statuses: see ServiceCommandSupport.h.

// enrol [--name NAME]: enrols this computer at the configured Kestrel
// address (a new key pair when there is no identity yet).
int enrol(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err);
// certs list: asks both services for the current lists and prints them,
// without saving or publishing anything.
int certsList(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err);
// refresh: lists, saves and publishes as the "/i" switch does, then prints
// the certificates.
int refresh(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err);
// account add EMAIL ORGANISATION: the password is the first line of `in`.
int accountAdd(const std::vector<std::string>& arguments, std::istream& in, std::ostream& out,
               std::ostream& err);
// group remove NAME: unpairs a phone (then refreshes) or gives up a wallet.
int groupRemove(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err);
// device rename NAME NEW-NAME
int deviceRename(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err);

} // namespace orvane::ctl
