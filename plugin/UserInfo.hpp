#pragma once

#include <string>

namespace KavrelCrypto {

/// A person's identity record: fourteen strings (UTF-8), each with the name that pages use. Any of them may
/// be empty, and none is changed in any way. It is a plain value that depends on nothing.
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
