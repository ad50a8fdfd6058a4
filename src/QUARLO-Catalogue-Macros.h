/*
 * Preprocessor helpers with which the catalogue of records and packets is stamped into
 * declarations. QUARLO_EACH_FIELD(Stamp, fields...) applies Stamp to every parenthesised field in
 * order.
 */
#ifndef QUARLO_CATALOGUE_MACROS_H
#define QUARLO_CATALOGUE_MACROS_H

#ifdef __cplusplus
/* A field may be named like its type; the global qualifier keeps the type visible. */
#define QUARLO_TYPE(Type) ::Type
#else
#define QUARLO_TYPE(Type) Type
#endif

/* clang-format off */
#define QUARLO_EACH_1(S, a) S a
#define QUARLO_EACH_2(S, a, ...) S a QUARLO_EACH_1(S, __VA_ARGS__)
#define QUARLO_EACH_3(S, a, ...) S a QUARLO_EACH_2(S, __VA_ARGS__)
#define QUARLO_EACH_4(S, a, ...) S a QUARLO_EACH_3(S, __VA_ARGS__)
#define QUARLO_EACH_5(S, a, ...) S a QUARLO_EACH_4(S, __VA_ARGS__)
#define QUARLO_EACH_6(S, a, ...) S a QUARLO_EACH_5(S, __VA_ARGS__)
#define QUARLO_EACH_7(S, a, ...) S a QUARLO_EACH_6(S, __VA_ARGS__)
#define QUARLO_EACH_8(S, a, ...) S a QUARLO_EACH_7(S, __VA_ARGS__)
#define QUARLO_EACH_9(S, a, ...) S a QUARLO_EACH_8(S, __VA_ARGS__)
#define QUARLO_EACH_10(S, a, ...) S a QUARLO_EACH_9(S, __VA_ARGS__)
#define QUARLO_EACH_PICK(a, b, c, d, e, f, g, h, i, j, N, ...) QUARLO_EACH_##N
#define QUARLO_EACH_COUNT(...) QUARLO_EACH_PICK(__VA_ARGS__, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0)
#define QUARLO_EACH_FIELD(Stamp, ...) QUARLO_EACH_COUNT(__VA_ARGS__)(Stamp, __VA_ARGS__)

/* A field as the members of a struct. */
#define QUARLO_MEMBERS(Kind, ...) QUARLO_MEMBERS_##Kind(__VA_ARGS__)
#define QUARLO_MEMBERS_VALUE(Type, Name, unit, meaning) QUARLO_TYPE(Type) Name;
#define QUARLO_MEMBERS_BYTES(Name, N, unit, meaning) UInt8 Name[N];
#define QUARLO_MEMBERS_MEMBER(Record, Name, unit, meaning) QUARLO_TYPE(qr##Record)* Name;
#define QUARLO_MEMBERS_RUN(Count, Length, Type, Name, unit, meaning) QUARLO_TYPE(Count) Length; QUARLO_TYPE(Type)* Name;
#define QUARLO_MEMBERS_LIST(Count, Length, Record, Name, unit, meaning) QUARLO_TYPE(Count) Length; QUARLO_TYPE(qr##Record)** Name;

/* A field as the tail of a parameter list. */
#define QUARLO_PARAMETERS(Kind, ...) QUARLO_PARAMETERS_##Kind(__VA_ARGS__)
#define QUARLO_PARAMETERS_VALUE(Type, Name, unit, meaning) , QUARLO_TYPE(Type) Name
#define QUARLO_PARAMETERS_BYTES(Name, N, unit, meaning) , UInt8* Name
#define QUARLO_PARAMETERS_MEMBER(Record, Name, unit, meaning) , QUARLO_TYPE(qr##Record)* Name
#define QUARLO_PARAMETERS_RUN(Count, Length, Type, Name, unit, meaning) , QUARLO_TYPE(Count) Length, QUARLO_TYPE(Type)* Name

/* A field as the tail of an argument list. */
#define QUARLO_ARGUMENTS(Kind, ...) QUARLO_ARGUMENTS_##Kind(__VA_ARGS__)
#define QUARLO_ARGUMENTS_VALUE(Type, Name, unit, meaning) , Name
#define QUARLO_ARGUMENTS_BYTES(Name, N, unit, meaning) , Name
#define QUARLO_ARGUMENTS_MEMBER(Record, Name, unit, meaning) , Name
#define QUARLO_ARGUMENTS_RUN(Count, Length, Type, Name, unit, meaning) , Length, Name
/* clang-format on */

#endif
