// Row decompressors of TIFF strips: LZW and PackBits.
//
// LZW here is the TIFF flavour: codes of 9 to 12 bits (13 for streams that
// never clear), most significant bit first, 256 clears the table, 257 ends the
// stream, and the width grows one code early. A strip may hold several
// streams back to back; each begins where the previous one ended, rounded to a
// whole byte.

#include "drivers/builtin/decompress.h"

#include <string.h>

#include "platform/alloc.h"
#include "platform/report.h"

namespace {

constexpr int kClearCode = 256;
constexpr int kEndCode = 257;

// Bytes at or past the end of the strip read as 0: a code split over the last
// byte never pulls in memory that is not the strip's.
inline int input_byte(const LZWData* state, int pos) {
    return pos >= 0 && pos < state->in_size ? state->input[pos] : 0;
}

}  // namespace

extern "C" {

void initLZWdata(LZWData* state) { memset(state, 0, sizeof(*state)); }

int LZWBuffer(LZWData* state, int limit) {
    if (!state->table) {
        state->table = static_cast<LZWEntry*>(CAllocate1(LZW_TABLE_SIZE, sizeof(LZWEntry)));
        if (!state->table) return -1;
        state->stack = static_cast<uint8_t*>(CAllocate1(LZW_TABLE_SIZE, 1));
        if (!state->stack) {
            CFree1(state->table);
            state->table = nullptr;
            return -1;
        }
    }
    state->out_limit = limit;
    return 0;
}

void LZWFree(LZWData* state) {
    CFree1(state->table);
    CFree1(state->stack);
    state->table = nullptr;
    state->stack = nullptr;
}

void InitStringTable(LZWData* state) {
    state->code_bits = 9;
    state->code_mask = 511;
    state->next_code = 258;
    for (int i = 0; i < 258; ++i) {
        state->table[i].prefix = static_cast<uint16_t>(i);
        state->table[i].suffix = static_cast<uint16_t>(i);
    }
}

int GetNextCode(LZWData* state) {
    if (state->next_code >= state->code_mask) {
        state->code_bits += 1;
        state->code_mask = state->code_mask * 2 + 1;
    }
    // A stream that runs out without its end code ends here.
    if (state->in_pos >= state->in_size) return kEndCode;
    int value = input_byte(state, state->in_pos);
    state->in_pos += 1;
    int need = state->code_bits - state->bits_left;
    if (need > 7) {
        value = value * 256 + input_byte(state, state->in_pos);
        state->in_pos += 1;
        need -= 8;
    }
    if (state->in_pos >= state->in_size && need != 0) return kEndCode;
    state->bits_left = 8 - need;
    return ((input_byte(state, state->in_pos) >> state->bits_left) + (value << need)) &
           state->code_mask;
}

int LZWExpand(LZWData* state, const uint8_t* input, uint8_t* output, int in_size) {
    state->in_pos = 0;
    state->out_count = 0;
    state->input = input;
    state->output = output;
    state->in_size = in_size;
    if (!state->table || !state->stack || !input || !output || in_size <= 0) return 0;
    if (state->out_limit > 0) output[0] = 0;

    int first = 0;
    int old = 0;
    // A hostile strip can ask for codes beyond the table or grow it past its
    // 8101 entries; both end the expansion with what was written so far.
    bool broken = false;
    do {
        state->code_bits = 9;
        state->code_mask = 511;
        state->bits_left = 8;
        state->next_code = 0;
        for (;;) {
            int code = GetNextCode(state);
            if (code == kEndCode) break;
            if (code == kClearCode) {
                InitStringTable(state);
                code = GetNextCode(state);
                if (code == kEndCode || state->out_count >= state->out_limit) break;
                output[state->out_count++] = static_cast<uint8_t>(code);
                old = first = code;
                continue;
            }
            int depth = 0;
            int cur = code;
            if (code >= state->next_code) {
                state->stack[depth++] = static_cast<uint8_t>(first);
                cur = old;
            }
            while (cur > 255) {
                if (cur >= LZW_TABLE_SIZE || depth >= LZW_TABLE_SIZE - 1) {
                    broken = true;
                    break;
                }
                state->stack[depth++] = static_cast<uint8_t>(state->table[cur].suffix);
                cur = state->table[cur].prefix;
            }
            if (broken) break;
            first = state->table[cur].suffix;
            state->stack[depth++] = static_cast<uint8_t>(first);
            // What does not fit the output stays on the stack and is dropped.
            while (depth > 0 && state->out_count < state->out_limit)
                output[state->out_count++] = state->stack[--depth];
            if (state->next_code >= LZW_TABLE_SIZE) {
                broken = true;
                break;
            }
            state->table[state->next_code].prefix = static_cast<uint16_t>(old);
            state->table[state->next_code].suffix = static_cast<uint16_t>(first);
            state->next_code += 1;
            old = code;
        }
        if (broken) break;
        if (state->bits_left != 8) state->in_pos += 1;
    } while (state->in_pos + 4 < state->in_size);
    return state->out_count;
}

int UnPackBits(int out_size, const uint8_t* input, uint8_t* output, int in_size) {
    long long out_left = out_size;
    long long in_left = in_size;
    const uint8_t* p = input;
    const uint8_t* end = input + (in_size > 0 ? in_size : 0);
    uint8_t* q = output;
    while (in_left > 0) {
        int control = static_cast<int8_t>(*p++);
        in_left -= 1;
        if (control == -128) continue;
        if (control < 0) {
            int count = 1 - control;
            in_left -= 1;
            out_left -= count;
            if (out_left >= 0) {
                if (p >= end) break;  // the run's value lies past the strip
                memset(q, *p++, static_cast<size_t>(count));
                q += count;
            }
        } else {
            int count = control + 1;
            in_left -= count;
            out_left -= count;
            if (out_left >= 0) {
                // A literal cut off by the end of the strip copies what is there.
                long long available = end - p;
                int n = count > available ? static_cast<int>(available) : count;
                memcpy(q, p, static_cast<size_t>(n));
                p += n;
                q += n;
                if (n < count) break;
            }
        }
    }
    if (out_left < 0) {
        user_warn("PackBits data overflows the row buffer\n");
        return -1;
    }
    return 0;
}

int PackBitsBuffer(const uint8_t*, uint8_t*, int) { return 0; }


int set_g3_globals(void) { return 1; }
int set_g4_globals(void) { return 1; }

}
