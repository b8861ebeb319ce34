// Makes certificates with Go's crypto/x509. Prints each in base64, on a line.
package main

import (
	"crypto"
	"crypto/ecdsa"
	"crypto/ed25519"
	"crypto/elliptic"
	"crypto/rand"
	"crypto/rsa"
	"crypto/x509"
	"crypto/x509/pkix"
	"encoding/asn1"
	"encoding/base64"
	"fmt"
	"math/big"
	"time"
)

func check[Value any](value Value, err error) Value {
	if err != nil {
		panic(err)
	}
	return value
}

// Public keys need not be anybody's: the lengths of their numbers are all that counts here.
func publicKeyOf(bits uint, exponent int) *rsa.PublicKey {
	modulus := new(big.Int).Lsh(big.NewInt(0xC5), bits-8)
	return &rsa.PublicKey{N: modulus.SetBit(modulus, 0, 1), E: exponent}
}

func publicKeys() []crypto.PublicKey {
	edwards, _, err := ed25519.GenerateKey(rand.Reader)
	keys := []crypto.PublicKey{check(edwards, err)}
	for _, curve := range []elliptic.Curve{elliptic.P224(), elliptic.P256(), elliptic.P384(), elliptic.P521()} {
		keys = append(keys, check(ecdsa.GenerateKey(curve, rand.Reader)).Public())
	}
	for _, bits := range []uint{1024, 1025, 2047, 2048, 2049, 3072, 4096, 8192, 16384} {
		keys = append(keys, publicKeyOf(bits, 65537))
	}
	for _, exponent := range []int{3, 127, 128, 255, 256, 1<<31 - 1, 1<<62 + 1} {
		keys = append(keys, publicKeyOf(2048, exponent))
	}
	return keys
}

// What there can be in a certificate besides its key.
func templates() []x509.Certificate {
	long := new(big.Int).Lsh(big.NewInt(1), 1000)
	odd := []pkix.Extension{{Id: asn1.ObjectIdentifier{1, 2, 3, 4, 5}, Critical: true, Value: make([]byte, 1000)}}
	none := []pkix.Extension{{Id: asn1.ObjectIdentifier{1, 2, 3, 4, 5}}}
	names := make([]string, 1000)
	for index := range names {
		names[index] = fmt.Sprintf("%d.example.org", index)
	}
	return []x509.Certificate{
		{SerialNumber: big.NewInt(0)},

		{SerialNumber: long},

		{ExtraExtensions: odd},
		{ExtraExtensions: none},
		{DNSNames: names},
		{IsCA: true, BasicConstraintsValid: true, MaxPathLenZero: true},
		{PermittedDNSDomainsCritical: true, ExcludedDNSDomains: []string{"example.org"}},
		{Subject: pkix.Name{CommonName: "نام", Organization: []string{"سازمان", "二"}}},
		{NotBefore: time.Date(1, 1, 1, 0, 0, 0, 0, time.UTC), NotAfter: time.Date(9999, 12, 31, 23, 59, 59, 0, time.UTC)},
	}
}

func main() {
	authority := check(ecdsa.GenerateKey(elliptic.P256(), rand.Reader))
	issue := func(template x509.Certificate, key crypto.PublicKey) {
		if template.SerialNumber == nil {
			template.SerialNumber = big.NewInt(1)
		}
		parent := x509.Certificate{Subject: pkix.Name{CommonName: "Throw-away"}}
		der := check(x509.CreateCertificate(rand.Reader, &template, &parent, key, authority))
		fmt.Println(base64.StdEncoding.EncodeToString(der))
	}
	for _, key := range publicKeys() {
		issue(x509.Certificate{}, key)
	}
	for _, template := range templates() {
		issue(template, publicKeyOf(2048, 65537))
	}
}
