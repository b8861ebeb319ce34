#pragma once

#include <string>

/// The one list of the members of an identity record, by the names that pages use. FIELD(name) stands for
/// each.
#define KAVREL_CRYPTO_USER_INFO(FIELD) \
    FIELD(identificationId)            \
    FIELD(nationalCode)                \
    FIELD(name)                        \
    FIELD(lastName)                    \
    FIELD(enName)                      \
    FIELD(enLastName)                  \
    FIELD(postalCode)                  \
    FIELD(phoneNumber)                 \
    FIELD(birthCertificateId)          \
    FIELD(birthDate)                   \
    FIELD(city)                        \
    FIELD(provinceName)                \
    FIELD(gender)                      \
    FIELD(citizenship)

namespace KavrelCrypto {

/// A person's identity record: fourteen strings (UTF-8), in the order of the list. Any of them may be empty,
/// and none is changed in any way. It is a plain value that depends on nothing.
struct UserInfo {
#define FIELD(name) std::string name;
    KAVREL_CRYPTO_USER_INFO(FIELD)
#undef FIELD
};

}  // namespace KavrelCrypto
