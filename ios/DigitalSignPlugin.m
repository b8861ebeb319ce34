#import <Capacitor/CAPBridgedPlugin.h>

// `npx cap sync` learns the names of an app's plugins from the text of its plugins' .m files: it takes what
// follows "CAP_PLUGIN" and a parenthesis. It reads no .mm file, so the plugin's name stands here:
//
//     CAP_PLUGIN(DigitalSignPlugin, "DigitalSign")
//
// The macro itself must not be used: it defines a category with the members pluginMethods, identifier and
// jsName, which would replace those of the class.
