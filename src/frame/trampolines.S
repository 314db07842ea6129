// The entry table and the exports, both from exports.def: a slot for each implementation, and for each export two
// instructions that jump through its slot, with arguments and return address as they came. The table is relocated once
// by the loader and read-only from then on.

        .section .data.rel.ro,"aw",@progbits
        .balign 8
        .globl  zeljEntryTable
        .type   zeljEntryTable, @object
zeljEntryTable:
#define ZELJ_EXPORT(op) .Lslot_##op: .quad own##op
#include "frame/exports.def"
#undef ZELJ_EXPORT
        .size   zeljEntryTable, . - zeljEntryTable

        .text
        .macro  forward export, slot
        .balign 16
        .globl  \export
        .type   \export, @function
\export:
        lea     \slot(%rip), %rax
        jmp     *(%rax)
        .size   \export, . - \export
        .endm

#define ZELJ_EXPORT(op) forward zeli##op, .Lslot_##op
#include "frame/exports.def"
#undef ZELJ_EXPORT

        .section .note.GNU-stack,"",@progbits
