#import <Capacitor/CAPBridgedPlugin.h>

// `npx cap sync` finds an app's plugins by searching the .m files of its packages for "CAP_PLUGIN", a
// parenthesis and a name. It does not read .mm files, so the plugin's name is here:
//
//     CAP_PLUGIN(DigitalSignPlugin, "DigitalSign")
//
// The macro itself must not be used. It defines a category whose members pluginMethods, identifier and jsName
// would replace those of the class.
