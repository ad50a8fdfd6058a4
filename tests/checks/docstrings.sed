# What doxygen gets of a public header. The instance, first argument of the host API, and the context, first
# of every callback, are described once, at the head of their header.
s/\(void\* instanceHandle(, |,$|\))/(\1/
s/^( +)void\* instanceHandle, /\1/
/^typedef/s/\(void\* context(, |,$|\))/(\1/
s/\(, ?/(/
s/\(\)\)/()/
# A callback type is documented like a function.
s/^typedef (.*)\(\*([A-Za-z]+)\)\(/\1\2(/
