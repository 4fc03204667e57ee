/* SPDX-License-Identifier: Apache-2.0 OR GPL-2.0-or-later
 *
 * A plug-in of qemu that counts instructions. Whenever the program enters a function whose name begins with
 * "stage_begin_" or "stage_end_", it logs that name and how many instructions were executed so far.
 *
 *   qemu-arm -d plugin -D marks.log -plugin libcount_marks.so PROGRAM
 *
 * (The option -d makes qemu read the names of the program's functions, too.) Debian has no package of qemu's
 * header; these are the declarations of version 1 of the interface that are used here.
 */
#include <inttypes.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>

#define EXPORTED __attribute__((visibility("default")))

struct qemu_plugin_tb;
struct qemu_plugin_insn;
enum { NO_REGISTERS = 0, ADD_U64 = 0 };
void qemu_plugin_register_vcpu_tb_trans_cb(uint64_t id,
                                           void (*callback)(uint64_t id, struct qemu_plugin_tb* block));
void qemu_plugin_register_vcpu_tb_exec_cb(struct qemu_plugin_tb* block,
                                          void (*callback)(unsigned int cpu, void* data), int flags,
                                          void* data);
void qemu_plugin_register_vcpu_tb_exec_inline(struct qemu_plugin_tb* block, int operation, void* pointer,
                                              uint64_t amount);
size_t qemu_plugin_tb_n_insns(const struct qemu_plugin_tb* block);
struct qemu_plugin_insn* qemu_plugin_tb_get_insn(const struct qemu_plugin_tb* block, size_t index);
const char* qemu_plugin_insn_symbol(const struct qemu_plugin_insn* instruction);
void qemu_plugin_outs(const char* text);

EXPORTED int qemu_plugin_version = 1;

static uint64_t executed;

static void log_mark(unsigned int cpu, void* name) {
    char line[128];
    (void)cpu;
    snprintf(line, sizeof line, "%s %" PRIu64 "\n", (const char*)name, executed);
    qemu_plugin_outs(line);
}

/* The functions of the marks have no jumps, so each is one block. */
static void on_translation(uint64_t id, struct qemu_plugin_tb* block) {
    const char* const name = qemu_plugin_insn_symbol(qemu_plugin_tb_get_insn(block, 0));
    (void)id;
    qemu_plugin_register_vcpu_tb_exec_inline(block, ADD_U64, &executed, qemu_plugin_tb_n_insns(block));
    if (name != NULL && (strncmp(name, "stage_begin_", 12) == 0 || strncmp(name, "stage_end_", 10) == 0)) {
        qemu_plugin_register_vcpu_tb_exec_cb(block, log_mark, NO_REGISTERS, (void*)name);
    }
}

EXPORTED int qemu_plugin_install(uint64_t id, const void* info, int count, char** arguments) {
    (void)info;
    (void)count;
    (void)arguments;
    qemu_plugin_register_vcpu_tb_trans_cb(id, on_translation);
    return 0;
}
