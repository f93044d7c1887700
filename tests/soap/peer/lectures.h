// A small web service about lectures, as the service's generator reads it: not C++. Callers send numbers in elements of
// their own, `<count><int>3</int></count>`; a name's last underscore does not show in XML.

//gsoap ns service name: lectures
//gsoap ns service namespace: urn:veldrin:lectures/
//gsoap ns schema form: qualified

#import "xop.h"

struct ns__Integer { int int_ 1; };
struct ns__Description { char* title; int twice 1; double length 1; char* guid; };
struct ns__Receipt { int length 1; unsigned int checksum 1; };

struct ns__Identifier { char* guid 1; };
struct xsd__base64Binary { unsigned char* __ptr; int __size; char* id; char* type; char* options; };

/// Tells what it was told, and the count doubled.
int ns__Describe(char* title, struct ns__Integer* count, double length, struct ns__Identifier* id,
                 struct ns__DescribeResponse { struct ns__Description DescribeResult 1; }* response);

/// Answers a fault that gives the reason.
int ns__Fail(char* reason, struct ns__FailResponse { }* response);

/// Answers how many bytes came, and the sum of all bytes times their place, from 1, modulo 2^32.
int ns__Store(struct xsd__base64Binary data, struct ns__StoreResponse { struct ns__Receipt StoreResult 1; }* response);
