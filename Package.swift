// swift-tools-version: 5.9
import PackageDescription

let package = Package(
    name: "KavrelCrypto",
    platforms: [.iOS(.v15)],
    products: [
        .library(
            name: "KavrelCrypto",
            targets: ["KavrelCrypto"])
    ],
    dependencies: [
        .package(url: "https://github.com/ionic-team/capacitor-swift-pm.git", "7.0.0"..<"9.0.0")
    ],
    targets: [
        .target(
            name: "KavrelCrypto",
            dependencies: [
                .product(name: "Capacitor", package: "capacitor-swift-pm"),
                .product(name: "Cordova", package: "capacitor-swift-pm")
            ],
            path: ".",
            sources: [
                "csr",
                "ios/CapacitorCall.mm",
                "ios/DigitalSignPlugin.m",
                "ios/DigitalSignPlugin.mm",
                "ios/JSValues.mm",
                "keys",
                "platform/Capacitor.cpp",
                "platform/Foundation.cpp",
                "devices/apple",
                "plugin",
                "storage",
                "text"
            ],
            resources: [.process("ios/PrivacyInfo.xcprivacy")],
            publicHeadersPath: "ios",
            cxxSettings: [.headerSearchPath(".")],
            linkerSettings: [
                .linkedFramework("Foundation"),
                .linkedFramework("LocalAuthentication"),
                .linkedFramework("Security")
            ])
    ],
    cxxLanguageStandard: .cxx20
)
