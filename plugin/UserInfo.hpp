#pragma once

#include <string>

namespace KavrelCrypto {

/// A person's identity record: fourteen texts (UTF-8), each named as its key in the web layer. Any text may
/// be empty, and each is kept as it arrived. It is a plain value that depends on nothing.
struct UserInfo {
    std::string identificationId;
    std::string nationalCode;
    std::string name;
    std::string lastName;
    std::string enName;
    std::string enLastName;
    std::string postalCode;
    std::string phoneNumber;
    std::string birthCertificateId;
    std::string birthDate;
    std::string city;
    std::string provinceName;
    std::string gender;
    std::string citizenship;
};

}  // namespace KavrelCrypto
