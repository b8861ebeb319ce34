"""The identity records from which requests are made, sorted into classes that every implementation treats alike."""

# What a person's record holds if nothing is awkward about it.
PLAIN = {
    "identificationId": "1",
    "nationalCode": "0012345678",
    "name": "جین",
    "lastName": "نمونه",
    "enName": "Jane",
    "enLastName": "Example",
    "postalCode": "1234567890",
    "phoneNumber": "0",
    "birthCertificateId": "2",
    "birthDate": "2000-01-01",
    "city": "Sampletown",
    "provinceName": "Nowhere",
    "gender": "F",
    "citizenship": "X",
}

# The subject of a request: type, member of the record, and whether it is a PrintableString instead of a UTF8String.
SUBJECT = [
    ("2.5.4.8", "provinceName", False),
    ("2.5.4.7", "city", False),
    ("2.5.4.3", "nationalCode", False),
    ("2.5.4.4", "enLastName", False),
    ("2.5.4.42", "enName", False),
    ("2.5.4.5", "nationalCode", True),
    ("2.5.4.17", "postalCode", True),
]
FREE_TEXT = ["provinceName", "city", "enLastName", "enName"]

# The largest length that the component writes. From the next one on it writes none, on purpose.
LARGEST_LENGTH = 32_767

# In a request by a key of 2048 bits: what its information holds besides the content of the subject, and what it holds besides
# the information, with the tags and the lengths.
INFORMATION_BESIDES_SUBJECT = 4 + 3 + 294 + 55
REQUEST_BESIDES_INFORMATION = 4 + 15 + 261


def person(**members):
    return {**PLAIN, **members}


def with_subject(length):
    """Returns a record whose city is so long, from 256 bytes on, that the subject has `length`."""
    others = sum(11 + len(PLAIN[member]) for _, member, _ in SUBJECT if member != "city")
    return person(city="x" * (length - others - 17))


def with_information(length):
    return with_subject(length - INFORMATION_BESIDES_SUBJECT)


def with_request(length):
    return with_information(length - REQUEST_BESIDES_INFORMATION)


def everywhere(*texts):
    """Returns one record for each of `texts`, with the same text in all the members that become UTF8Strings only."""
    return [person(**{member: text for member in FREE_TEXT}) for text in texts]


SCRIPTS = [
    "شیراز", "تهرانِ بزرگ", "می‌خواهم", "עִבְרִית", "مُحَمَّد", "北京市", "ひらがなカタカナ", "서울", "नमस्ते", "กรุงเทพฯ",
    "Ελληνικά", "Кириллица", "ÅÄÖßıİ", "e\u0301 \u00e9", "Z\u0351\u036b\u0343\u036a\u0302\u0300\u0334\u0321",
    "\u0301combining first", "👩‍👩‍👧‍👦", "🇮🇷🇳🇴", "1️⃣👍🏽", "𝔘𝔫𝔦𝔠𝔬𝔡𝔢", "\u202eleft to right\u202c",
    "\u2067isolated\u2069", "soft\u00adhyphen", "zero\u200bwidth\u200d", "Ａｆｕｌｌｗｉｄｔｈ", "ﷺ",
]  # fmt: skip

# What X.680 does not allow in a PrintableString.
NOT_PRINTABLE = '!"#$%;<>@[\\]^_`{|}~'
NOT_ASCII = ["۱۲۳۴۵۶۷۸۹۰", "٠١٢", "é", "12۳", "北京", "👍", "1234567890\u200f", "\u00a012345", "１２３"]

CLASSES = {
    "plain": [
        PLAIN,
        *everywhere("Mary Jane", "O'Neil", "Smith-Jones", "X", " leading", "trailing ", "  ", "JANE", "van der Berg"),
        *(
            person(nationalCode=code, postalCode=code)
            for code in ("1", "0000000000", "AbC", "12 34", " 1 ", "(1)+2,3-4./:=?'")
        ),
    ],
    # They have a meaning where a name is written as one string.
    "special characters of name strings": [
        *everywhere(
            "a,b", "CN=b", "a+b", 'say "a"', "back\\slash", "<a>", "a;b", "#0C0141", "a/CN=b", "\\0C", "%00", "$(id)", "\\,"
        ),
    ],
    "scripts, combining marks, emoji": [*everywhere(*SCRIPTS), *(person(city=text * 40) for text in SCRIPTS[:4])],
    # They are not characters, or Unicode leaves their meaning open.
    "code points without a character": [
        *everywhere("\ufeffa", "a\ufffe", "a\uffff", "\ufdd0", "\U0010ffff", "\ue000", "\U000f0000", "\ufffd"),
    ],
    "control characters": [
        *everywhere("line\nfeed", "return\r\n", "tab\t", "\x1b[31m", "\x7f", "\x01", "next\x85line", "\u2028", "bell\a"),
        *(person(**{member: "a\nb"}) for member in FREE_TEXT),
    ],
    "null characters": [*everywhere("a\0b", "\0", "a\0"), person(city="Shiraz\0.example")],
    "empty UTF8String": [*(person(**{member: ""}) for member in FREE_TEXT), *everywhere("")],
    "empty PrintableString": [person(postalCode="")],
    # It is not allowed either, but found in many certificates.
    "* and & in a PrintableString": [person(postalCode=code) for code in ("12*34", "*", "12&34", "&")],
    "other ASCII in a PrintableString": [
        *(person(postalCode=f"12{character}34") for character in NOT_PRINTABLE),
        *(person(nationalCode=code) for code in ("a_b", "1%2")),
    ],
    "control characters in a PrintableString": [
        person(postalCode=code) for code in ("12\n34", "\t", "12\x7f", "\x01", "12\x0034", "\0")
    ],
    # Of values, of the structures around a value, and of the subject.
    "lengths around 127 and 255": [
        *(person(city="x" * size) for size in [*range(116, 130), *range(243, 259)]),
        *(
            person(**{member: "1" * size})
            for member in ("provinceName", "enLastName", "enName", "postalCode")
            for size in (126, 127, 128, 254, 255, 256)
        ),
        *(person(nationalCode="1" * size) for size in (64, 65, 127, 128, 255, 256)),
        *(person(city="é" * size) for size in (63, 64, 127, 128)),
        *(person(city="x" * size, enName="Z") for size in range(12)),
    ],
    "lengths up to 32,767": [
        *(person(**{member: "1" * 1000}) for member in (*FREE_TEXT, "postalCode")),
        *(person(city="x" * size) for size in (16_383, 16_384, 30_000)),
        *(with_request(LARGEST_LENGTH - less) for less in range(8)),
        *(person(nationalCode="1" * 15_000), person(postalCode="1" * 31_000), person(city="é" * 15_900)),
    ],
    # A PrintableString cannot hold it: its length is written as 0, and a "?" for each character follows.
    "other than ASCII in a PrintableString": [
        *(person(postalCode=text) for text in NOT_ASCII),
        *(person(nationalCode=text) for text in NOT_ASCII[:4]),
    ],
    "request of 32,768 bytes and more": [
        *(with_request(LARGEST_LENGTH + more) for more in (1, 2, 3, 100)),
        with_information(LARGEST_LENGTH),
    ],
    "information of 32,768 bytes and more": [
        *(with_information(LARGEST_LENGTH + more) for more in (1, 2, 100)),
        with_subject(LARGEST_LENGTH),
    ],
    "subject of 32,768 bytes and more": [with_subject(LARGEST_LENGTH + more) for more in (1, 2, 50)],
    # Those of which the SET, then the SEQUENCE in it, then the string in that has no length.
    "attribute of 32,768 bytes and more": [
        *(person(city="x" * size) for size in (32_755, 32_758, 32_759, 32_767, 32_768, 40_000, 70_000)),
        *(person(**{member: "1" * 32_768}) for member in ("provinceName", "enLastName", "enName", "postalCode")),
    ],
}
