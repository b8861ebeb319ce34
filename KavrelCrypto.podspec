require 'json'

package = JSON.parse(File.read(File.join(__dir__, 'package.json')))

Pod::Spec.new do |s|
  s.name = 'KavrelCrypto'
  s.version = package['version']
  s.summary = package['description']
  s.license = package['license']
  s.author = package['author']
  # CocoaPods insists on these two, although the pod is installed from node_modules and never fetched.
  s.homepage = 'https://capacitorjs.com'
  s.source = { :git => '' }

  s.source_files = '{csr,keys,plugin,storage,text}/*.{cpp,hpp}',
                   'platform/*.{cpp,hpp}',
                   'devices/apple/*.{cpp,hpp,mm}',
                   'ios/*.{h,hpp,m,mm}'
  # The other headers are C++, which Swift cannot import.
  s.public_header_files = 'ios/DigitalSignPlugin.h'
  s.resource_bundles = { 'KavrelCryptoPrivacy' => ['ios/PrivacyInfo.xcprivacy'] }

  s.ios.deployment_target = '15.0'
  s.dependency 'Capacitor'
  s.frameworks = 'Foundation', 'LocalAuthentication', 'Security'
  s.library = 'c++'
  s.pod_target_xcconfig = {
    'CLANG_CXX_LANGUAGE_STANDARD' => 'c++20',
    'HEADER_SEARCH_PATHS' => '"$(PODS_TARGET_SRCROOT)"'
  }
end
