// Reads requests with the class by which Java's keytool reads them; it checks their signatures. Each argument is a file in
// DER; it is answered with a line of JSON: the refusal, or the subject, the key and the key purposes.

import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.security.interfaces.RSAPublicKey;
import java.util.HexFormat;
import java.util.stream.Collectors;
import sun.security.pkcs10.PKCS10;
import sun.security.pkcs10.PKCS10Attribute;
import sun.security.x509.AVA;
import sun.security.x509.CertificateExtensions;
import sun.security.x509.ExtendedKeyUsageExtension;

class Reader {
    private static final String EXTENSION_REQUEST = "1.2.840.113549.1.9.14";

    private static String quoted(Object value) {
        return '"' + value.toString() + '"';
    }

    private static String attribute(AVA attribute) {
        try {
            byte[] value = attribute.getDerValue().getAsString().getBytes(StandardCharsets.UTF_8);
            return "[" + quoted(attribute.getObjectIdentifier()) + "," + quoted(HexFormat.of().formatHex(value)) + "]";
        } catch (java.io.IOException error) {
            throw new java.io.UncheckedIOException(error);
        }
    }

    private static String purposes(PKCS10 request) throws Exception {
        var attribute = (PKCS10Attribute) request.getAttributes().getAttribute(EXTENSION_REQUEST);
        var extensions = (CertificateExtensions) attribute.getAttributeValue();
        var usage = (ExtendedKeyUsageExtension) extensions.get(ExtendedKeyUsageExtension.NAME);
        return usage.getExtendedKeyUsage().stream().map(Reader::quoted).collect(Collectors.joining(","));
    }

    private static String reading(byte[] der) {
        try {
            PKCS10 request = new PKCS10(der);
            var key = (RSAPublicKey) request.getSubjectPublicKeyInfo();
            return String.format(
                    "{\"subject\":[%s],\"modulus\":\"%x\",\"exponent\":\"%x\",\"purposes\":[%s]}",
                    request.getSubjectName().allAvas().stream().map(Reader::attribute).collect(Collectors.joining(",")),
                    key.getModulus(),
                    key.getPublicExponent(),
                    purposes(request));
        } catch (Exception error) {
            return "{\"refusal\":" + quoted(String.valueOf(error.getMessage()).replaceAll("[^ -~]|[\"\\\\]", "?")) + "}";
        }
    }

    public static void main(String[] arguments) throws Exception {
        for (String file : arguments) {
            System.out.println(reading(Files.readAllBytes(Path.of(file))));
        }
    }
}
