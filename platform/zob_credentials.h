// The platform's credential store.
//
// The store is a text file named by ZOB_CREDENTIAL_STORE, one credential a line:
//   name<TAB>user<TAB>stored-password
// ('#' starts a comment line). Stored passwords are *encoded, not encrypted*:
// "zoenc1:" followed by the base64 of the password's bytes each XOR-ed with 0x5A.
// This keeps passwords from being read at a glance, nothing more; protect the
// file with its permissions.
#pragma once

#include "zob_export.h"
#include "zob_string.h"

struct ZobSubject;

// Non-null when the store can be used (the variable names a readable file);
// each non-null result is balanced by zobSubjectRelease().
ZOB_API ZobSubject* zobSubjectAccess();
// The user and stored password kept under `name`; false when there are none.
// `detail` (may be null) receives the store's file name.
ZOB_API bool zobSubjectCredentials(const ZobString& name, ZobString& user,
                                   ZobString& password, ZobString* detail);
// Turns a stored password into the clear one; `stored` and `clear` may be the
// same string. False with a text in `err` (may be null) on a malformed one.
ZOB_API bool zobSubjectDecodePW(const ZobString& stored, ZobString& clear,
                                ZobString* err);
ZOB_API void zobSubjectRelease();

// The stored form of a clear password (for tools that write the store).
ZOB_API ZobString zobSubjectEncodePW(const ZobString& clear);
