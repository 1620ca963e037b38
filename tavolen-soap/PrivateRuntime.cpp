// A library-local std::nothrow for the static gSOAP runtime that libanadata carries privately.
//
// Debian builds libgsoapssl++.a as position-independent executable code, not as shared-library
// code: it reaches every object PC-relative, which a shared library can only satisfy from inside
// itself. The one such object it takes from elsewhere is libstdc++'s std::nothrow. That object is
// empty and only ever picks an overload of operator new, so a hidden copy here behaves exactly
// like libstdc++'s, and the runtime links without text relocations.
__asm__(".section .rodata._ZSt7nothrow,\"a\",@progbits\n"
        ".globl _ZSt7nothrow\n"
        ".hidden _ZSt7nothrow\n"
        ".type _ZSt7nothrow, @object\n"
        ".size _ZSt7nothrow, 1\n"
        "_ZSt7nothrow:\n"
        ".byte 0\n"
        ".text\n");
