// Reads requests with Go's crypto/x509, and checks their signatures. Each argument is a file in DER; it is answered with a
// line of JSON: the refusal, or the subject, the key and the key purposes.
package main

import (
	"crypto/rsa"
	"crypto/x509"
	"encoding/asn1"
	"encoding/hex"
	"encoding/json"
	"fmt"
	"os"
)

type reading struct {
	Refusal  string      `json:"refusal,omitempty"`
	Subject  [][2]string `json:"subject"`
	Modulus  string      `json:"modulus"`
	Exponent string      `json:"exponent"`
	Purposes []string    `json:"purposes"`
}

var extendedKeyUsage = asn1.ObjectIdentifier{2, 5, 29, 37}

func read(path string) (*reading, error) {
	der, err := os.ReadFile(path)
	if err != nil {
		return nil, err
	}
	request, err := x509.ParseCertificateRequest(der)
	if err != nil {
		return nil, err
	}
	if err := request.CheckSignature(); err != nil {
		return nil, err
	}
	key := request.PublicKey.(*rsa.PublicKey)
	found := &reading{Modulus: key.N.Text(16), Exponent: fmt.Sprintf("%x", key.E)}
	for _, attribute := range request.Subject.Names {
		value := hex.EncodeToString([]byte(attribute.Value.(string)))
		found.Subject = append(found.Subject, [2]string{attribute.Type.String(), value})
	}
	found.Purposes, err = purposes(request)
	return found, err
}

func purposes(request *x509.CertificateRequest) ([]string, error) {
	var names []string
	for _, extension := range request.Extensions {
		if extension.Id.Equal(extendedKeyUsage) {
			var identifiers []asn1.ObjectIdentifier
			if _, err := asn1.Unmarshal(extension.Value, &identifiers); err != nil {
				return nil, err
			}
			for _, identifier := range identifiers {
				names = append(names, identifier.String())
			}
		}
	}
	return names, nil
}

func main() {
	output := json.NewEncoder(os.Stdout)
	for _, path := range os.Args[1:] {
		found, err := read(path)
		if err != nil {
			output.Encode(map[string]string{"refusal": err.Error()})
		} else {
			output.Encode(found)
		}
	}
}
