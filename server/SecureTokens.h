// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once
#include <QByteArray>
#include <QString>

// Random secrets and their hashes. Codes and tokens are stored only as SHA-256 hashes,
// so a copy of the database does not give access to any account.
namespace SecureTokens {
// n bytes from the system's cryptographic generator, base64url without padding.
QString randomUrlSafe(int bytes);
// Lower-case hex SHA-256 of the UTF-8 text: the stored form of a code or token.
QString hashForStorage(const QString &secret);
// PKCE S256 (RFC 7636): base64url of SHA-256 of the verifier's ASCII, no padding.
QString pkceChallenge(const QString &verifier);
// True for 43..128 characters of A-Z a-z 0-9 "-" "." "_" "~" (RFC 7636, 4.1).
bool isValidVerifier(const QString &verifier);
// True for a 43-character base64url value: the length of any S256 challenge.
bool isValidChallenge(const QString &challenge);
// Compares without an early exit, so the time taken does not reveal a matching prefix.
bool constantTimeEquals(const QByteArray &a, const QByteArray &b);
}
