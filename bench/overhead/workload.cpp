// workload.cpp: CPU-bound, branchy work (sorting, hashing, an expression
// parser and a small bytecode machine over generated input) with a probe at
// every basic block. The harness times run_workload in each build variant.
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "probes.h"

int workload_last_line();

#if defined(PROBE_STYLE_TABLE)
namespace {
std::vector<int> counted_lines() {
    std::vector<int> lines(static_cast<size_t>(workload_last_line()) + 1);
    for (size_t i = 0; i < lines.size(); ++i) lines[i] = static_cast<int>(i);
    return lines;
}
std::vector<int> workload_lines = counted_lines();
}  // namespace
long long* workload_counters =
    mirt_reg2(const_cast<char*>("bench/overhead/workload.cpp"), static_cast<int>(workload_lines.size()), workload_lines.data());
#endif

namespace {

// ---------------------------------------------------------------- input

struct Rng {
    uint64_t state;
    uint32_t next() {
        ENTRY();
        state ^= state << 13;
        state ^= state >> 7;
        state ^= state << 17;
        return static_cast<uint32_t>(state >> 11);
    }
    uint32_t below(uint32_t n) {
        ENTRY();
        return next() % n;
    }
};

std::vector<int32_t> random_numbers(Rng& rng, size_t n, uint32_t range) {
    ENTRY();
    std::vector<int32_t> v(n);
    for (size_t i = 0; i < n; ++i) {
        PROBE();
        v[i] = static_cast<int32_t>(rng.below(range)) - static_cast<int32_t>(range / 2);
    }
    PROBE();
    return v;
}

std::string random_word(Rng& rng) {
    ENTRY();
    static const char letters[] = "etaoinshrdlucmfwypvbgkjqxz";
    size_t length = 2 + rng.below(9);
    std::string w;
    w.reserve(length);
    for (size_t i = 0; i < length; ++i) {
        PROBE();
        // Skewed towards the common letters, so that words repeat.
        uint32_t r = rng.below(100);
        if (r < 60) {
            PROBE();
            w += letters[r % 8];
        } else if (r < 90) {
            PROBE();
            w += letters[8 + r % 10];
        } else {
            PROBE();
            w += letters[18 + r % 8];
        }
    }
    PROBE();
    return w;
}

// ---------------------------------------------------------------- sorting

void insertion_sort(int32_t* a, int lo, int hi) {
    ENTRY();
    for (int i = lo + 1; i <= hi; ++i) {
        PROBE();
        int32_t x = a[i];
        int j = i - 1;
        while (j >= lo && a[j] > x) {
            PROBE();
            a[j + 1] = a[j];
            --j;
        }
        PROBE();
        a[j + 1] = x;
    }
    PROBE();
}

int median_of_three(int32_t* a, int lo, int hi) {
    ENTRY();
    int mid = lo + (hi - lo) / 2;
    if (a[mid] < a[lo]) {
        PROBE();
        std::swap(a[mid], a[lo]);
    }
    PROBE();
    if (a[hi] < a[lo]) {
        PROBE();
        std::swap(a[hi], a[lo]);
    }
    PROBE();
    if (a[hi] < a[mid]) {
        PROBE();
        std::swap(a[hi], a[mid]);
    }
    PROBE();
    return mid;
}

void quick_sort(int32_t* a, int lo, int hi) {
    ENTRY();
    while (hi - lo > 16) {
        PROBE();
        int32_t pivot = a[median_of_three(a, lo, hi)];
        int i = lo, j = hi;
        while (i <= j) {
            PROBE();
            while (a[i] < pivot) {
                PROBE();
                ++i;
            }
            PROBE();
            while (a[j] > pivot) {
                PROBE();
                --j;
            }
            PROBE();
            if (i <= j) {
                PROBE();
                std::swap(a[i], a[j]);
                ++i;
                --j;
            }
            PROBE();
        }
        PROBE();
        // Recurse into the smaller half, loop on the larger.
        if (j - lo < hi - i) {
            PROBE();
            quick_sort(a, lo, j);
            lo = i;
        } else {
            PROBE();
            quick_sort(a, i, hi);
            hi = j;
        }
        PROBE();
    }
    PROBE();
    insertion_sort(a, lo, hi);
}

void merge_runs(int32_t* a, int32_t* tmp, int lo, int mid, int hi) {
    ENTRY();
    int i = lo, j = mid, k = lo;
    while (i < mid && j < hi) {
        PROBE();
        if (a[j] < a[i]) {
            PROBE();
            tmp[k++] = a[j++];
        } else {
            PROBE();
            tmp[k++] = a[i++];
        }
        PROBE();
    }
    PROBE();
    while (i < mid) {
        PROBE();
        tmp[k++] = a[i++];
    }
    PROBE();
    while (j < hi) {
        PROBE();
        tmp[k++] = a[j++];
    }
    PROBE();
    memcpy(a + lo, tmp + lo, sizeof(int32_t) * static_cast<size_t>(hi - lo));
}

void merge_sort(int32_t* a, int n) {
    ENTRY();
    std::vector<int32_t> tmp(static_cast<size_t>(n));
    for (int lo = 0; lo < n; lo += 8) {
        PROBE();
        insertion_sort(a, lo, lo + 7 < n ? lo + 7 : n - 1);
    }
    PROBE();
    for (int width = 8; width < n; width *= 2) {
        PROBE();
        for (int lo = 0; lo + width < n; lo += 2 * width) {
            PROBE();
            int hi = lo + 2 * width < n ? lo + 2 * width : n;
            merge_runs(a, tmp.data(), lo, lo + width, hi);
        }
        PROBE();
    }
    PROBE();
}

void sift_down(int32_t* a, int root, int n) {
    ENTRY();
    for (;;) {
        PROBE();
        int child = 2 * root + 1;
        if (child >= n) {
            PROBE();
            return;
        }
        PROBE();
        if (child + 1 < n && a[child] < a[child + 1]) {
            PROBE();
            ++child;
        }
        PROBE();
        if (a[root] >= a[child]) {
            PROBE();
            return;
        }
        PROBE();
        std::swap(a[root], a[child]);
        root = child;
    }
}

void heap_sort(int32_t* a, int n) {
    ENTRY();
    for (int i = n / 2 - 1; i >= 0; --i) {
        PROBE();
        sift_down(a, i, n);
    }
    PROBE();
    for (int end = n - 1; end > 0; --end) {
        PROBE();
        std::swap(a[0], a[end]);
        sift_down(a, 0, end);
    }
    PROBE();
}

// 0 when sorted, else the first place out of order (1-based).
long check_sorted(const std::vector<int32_t>& v) {
    ENTRY();
    for (size_t i = 1; i < v.size(); ++i) {
        PROBE();
        if (v[i - 1] > v[i]) {
            PROBE();
            return static_cast<long>(i);
        }
        PROBE();
    }
    PROBE();
    return 0;
}

long sorting(Rng& rng, int size) {
    ENTRY();
    long sum = 0;
    for (int round = 0; round < 3; ++round) {
        PROBE();
        std::vector<int32_t> v = random_numbers(rng, static_cast<size_t>(size), 1u << 20);
        std::vector<int32_t> w = v, u = v;
        quick_sort(v.data(), 0, size - 1);
        merge_sort(w.data(), size);
        heap_sort(u.data(), size);
        sum += check_sorted(v) + check_sorted(w) + check_sorted(u);
        if (v != w || w != u) {
            PROBE();
            sum += 1000000;
        }
        PROBE();
        sum += v[static_cast<size_t>(size) / 2];
    }
    PROBE();
    return sum;
}

// ---------------------------------------------------------------- hashing

uint32_t fnv1a(const char* p, size_t n) {
    ENTRY();
    uint32_t h = 2166136261u;
    for (size_t i = 0; i < n; ++i) {
        PROBE();
        h = (h ^ static_cast<unsigned char>(p[i])) * 16777619u;
    }
    PROBE();
    return h;
}

uint32_t crc32_bitwise(const char* p, size_t n) {
    ENTRY();
    uint32_t crc = 0xFFFFFFFFu;
    for (size_t i = 0; i < n; ++i) {
        PROBE();
        crc ^= static_cast<unsigned char>(p[i]);
        for (int b = 0; b < 8; ++b) {
            PROBE();
            if (crc & 1) {
                PROBE();
                crc = (crc >> 1) ^ 0xEDB88320u;
            } else {
                PROBE();
                crc >>= 1;
            }
            PROBE();
        }
        PROBE();
    }
    PROBE();
    return ~crc;
}

// Word counts in an open-addressing table that doubles when half full.
class WordTable {
public:
    explicit WordTable(size_t capacity) : slots_(capacity) {}

    void add(const std::string& word) {
        ENTRY();
        if ((used_ + 1) * 2 > slots_.size()) {
            PROBE();
            grow();
        }
        PROBE();
        uint32_t h = fnv1a(word.data(), word.size());
        size_t mask = slots_.size() - 1;
        for (size_t i = h & mask;; i = (i + 1) & mask) {
            PROBE();
            Slot& s = slots_[i];
            if (s.count == 0) {
                PROBE();
                s.word = word;
                s.hash = h;
                s.count = 1;
                ++used_;
                return;
            }
            PROBE();
            if (s.hash == h && s.word == word) {
                PROBE();
                ++s.count;
                return;
            }
            PROBE();
        }
    }

    long most_frequent() const {
        ENTRY();
        long best = 0;
        for (const Slot& s : slots_) {
            PROBE();
            if (s.count > best) {
                PROBE();
                best = s.count;
            }
            PROBE();
        }
        PROBE();
        return best * 1000 + static_cast<long>(used_);
    }

private:
    struct Slot {
        std::string word;
        uint32_t hash = 0;
        long count = 0;
    };

    void grow() {
        ENTRY();
        std::vector<Slot> old(slots_.size() * 2);
        old.swap(slots_);
        size_t mask = slots_.size() - 1;
        for (Slot& s : old) {
            PROBE();
            if (s.count == 0) {
                PROBE();
                continue;
            }
            PROBE();
            size_t i = s.hash & mask;
            while (slots_[i].count != 0) {
                PROBE();
                i = (i + 1) & mask;
            }
            PROBE();
            slots_[i] = std::move(s);
        }
        PROBE();
    }

    std::vector<Slot> slots_;
    size_t used_ = 0;
};

long hashing(Rng& rng, int size) {
    ENTRY();
    WordTable table(16);
    std::string text;
    for (int i = 0; i < size; ++i) {
        PROBE();
        std::string w = random_word(rng);
        table.add(w);
        if (i % 7 == 0) {
            PROBE();
            text += w;
            text += ' ';
        }
        PROBE();
    }
    PROBE();
    long sum = table.most_frequent();
    sum += crc32_bitwise(text.data(), text.size());
    sum += fnv1a(text.data(), text.size()) & 0xFFFF;
    return sum;
}

// ---------------------------------------------------------------- expressions

// Generates an arithmetic expression of the given depth as text.
void generate_expression(Rng& rng, int depth, std::string& out) {
    ENTRY();
    if (depth == 0 || rng.below(4) == 0) {
        PROBE();
        if (rng.below(5) == 0) {
            PROBE();
            out += 'x';
        } else {
            PROBE();
            out += std::to_string(rng.below(1000));
        }
        PROBE();
        return;
    }
    PROBE();
    static const char* const ops[] = {"+", "-", "*", "/", "%", "<", "==", "&&", "||"};
    uint32_t shape = rng.below(10);
    if (shape == 0) {
        PROBE();
        out += '-';
        generate_expression(rng, depth - 1, out);
    } else if (shape == 1) {
        PROBE();
        out += '(';
        generate_expression(rng, depth - 1, out);
        out += ')';
    } else if (shape == 2) {
        PROBE();
        out += '(';
        generate_expression(rng, depth - 1, out);
        out += " ? ";
        generate_expression(rng, depth - 1, out);
        out += " : ";
        generate_expression(rng, depth - 1, out);
        out += ')';
    } else {
        PROBE();
        generate_expression(rng, depth - 1, out);
        out += ' ';
        out += ops[rng.below(9)];
        out += ' ';
        generate_expression(rng, depth - 1, out);
    }
    PROBE();
}

enum class Tok { Number, Name, Plus, Minus, Star, Slash, Percent, Less, Equal, And, Or, Question, Colon, LParen, RParen, End, Bad };

struct Token {
    Tok kind;
    long value;
};

std::vector<Token> tokenize(const std::string& text) {
    ENTRY();
    std::vector<Token> tokens;
    size_t i = 0;
    while (i < text.size()) {
        PROBE();
        char c = text[i];
        if (c == ' ') {
            PROBE();
            ++i;
            continue;
        }
        PROBE();
        if (c >= '0' && c <= '9') {
            PROBE();
            long v = 0;
            while (i < text.size() && text[i] >= '0' && text[i] <= '9') {
                PROBE();
                v = v * 10 + (text[i] - '0');
                ++i;
            }
            PROBE();
            tokens.push_back({Tok::Number, v});
            continue;
        }
        PROBE();
        Tok kind = Tok::Bad;
        size_t width = 1;
        switch (c) {
        case 'x':
            PROBE();
            kind = Tok::Name;
            break;
        case '+':
            PROBE();
            kind = Tok::Plus;
            break;
        case '-':
            PROBE();
            kind = Tok::Minus;
            break;
        case '*':
            PROBE();
            kind = Tok::Star;
            break;
        case '/':
            PROBE();
            kind = Tok::Slash;
            break;
        case '%':
            PROBE();
            kind = Tok::Percent;
            break;
        case '<':
            PROBE();
            kind = Tok::Less;
            break;
        case '?':
            PROBE();
            kind = Tok::Question;
            break;
        case ':':
            PROBE();
            kind = Tok::Colon;
            break;
        case '(':
            PROBE();
            kind = Tok::LParen;
            break;
        case ')':
            PROBE();
            kind = Tok::RParen;
            break;
        case '=':
            PROBE();
            if (i + 1 < text.size() && text[i + 1] == '=') {
                PROBE();
                kind = Tok::Equal;
                width = 2;
            }
            PROBE();
            break;
        case '&':
            PROBE();
            if (i + 1 < text.size() && text[i + 1] == '&') {
                PROBE();
                kind = Tok::And;
                width = 2;
            }
            PROBE();
            break;
        case '|':
            PROBE();
            if (i + 1 < text.size() && text[i + 1] == '|') {
                PROBE();
                kind = Tok::Or;
                width = 2;
            }
            PROBE();
            break;
        default:
            PROBE();
            break;
        }
        PROBE();
        tokens.push_back({kind, 0});
        i += width;
    }
    PROBE();
    tokens.push_back({Tok::End, 0});
    return tokens;
}

// Expression tree in a flat array; children by index.
struct Node {
    Tok op;  // Number, Name, or an operator; Minus with b < 0 is negation
    long value;
    int a, b, c;
};

// Recursive descent by precedence: ?: below || below && below == below <
// below + - below * / % below unary.
class Parser {
public:
    Parser(const std::vector<Token>& tokens, std::vector<Node>& nodes) : tokens_(tokens), nodes_(nodes) {}

    int parse() {
        ENTRY();
        int root = conditional();
        if (peek() != Tok::End) {
            PROBE();
            failed_ = true;
        }
        PROBE();
        return failed_ ? -1 : root;
    }

private:
    Tok peek() const {
        ENTRY();
        return tokens_[pos_].kind;
    }

    int add(Tok op, long value, int a, int b, int c) {
        ENTRY();
        nodes_.push_back({op, value, a, b, c});
        return static_cast<int>(nodes_.size()) - 1;
    }

    int conditional() {
        ENTRY();
        int cond = logical_or();
        if (peek() != Tok::Question) {
            PROBE();
            return cond;
        }
        PROBE();
        ++pos_;
        int then = conditional();
        if (peek() != Tok::Colon) {
            PROBE();
            failed_ = true;
            return then;
        }
        PROBE();
        ++pos_;
        int otherwise = conditional();
        return add(Tok::Question, 0, cond, then, otherwise);
    }

    int logical_or() {
        ENTRY();
        int left = logical_and();
        while (peek() == Tok::Or) {
            PROBE();
            ++pos_;
            left = add(Tok::Or, 0, left, logical_and(), -1);
        }
        PROBE();
        return left;
    }

    int logical_and() {
        ENTRY();
        int left = equality();
        while (peek() == Tok::And) {
            PROBE();
            ++pos_;
            left = add(Tok::And, 0, left, equality(), -1);
        }
        PROBE();
        return left;
    }

    int equality() {
        ENTRY();
        int left = relation();
        while (peek() == Tok::Equal) {
            PROBE();
            ++pos_;
            left = add(Tok::Equal, 0, left, relation(), -1);
        }
        PROBE();
        return left;
    }

    int relation() {
        ENTRY();
        int left = sum();
        while (peek() == Tok::Less) {
            PROBE();
            ++pos_;
            left = add(Tok::Less, 0, left, sum(), -1);
        }
        PROBE();
        return left;
    }

    int sum() {
        ENTRY();
        int left = product();
        for (;;) {
            PROBE();
            Tok op = peek();
            if (op != Tok::Plus && op != Tok::Minus) {
                PROBE();
                return left;
            }
            PROBE();
            ++pos_;
            left = add(op, 0, left, product(), -1);
        }
    }

    int product() {
        ENTRY();
        int left = unary();
        for (;;) {
            PROBE();
            Tok op = peek();
            if (op != Tok::Star && op != Tok::Slash && op != Tok::Percent) {
                PROBE();
                return left;
            }
            PROBE();
            ++pos_;
            left = add(op, 0, left, unary(), -1);
        }
    }

    int unary() {
        ENTRY();
        Tok t = peek();
        if (t == Tok::Minus) {
            PROBE();
            ++pos_;
            return add(Tok::Minus, 0, unary(), -1, -1);
        }
        PROBE();
        if (t == Tok::Number || t == Tok::Name) {
            PROBE();
            long v = tokens_[pos_].value;
            ++pos_;
            return add(t, v, -1, -1, -1);
        }
        PROBE();
        if (t == Tok::LParen) {
            PROBE();
            ++pos_;
            int inner = conditional();
            if (peek() == Tok::RParen) {
                PROBE();
                ++pos_;
            } else {
                PROBE();
                failed_ = true;
            }
            PROBE();
            return inner;
        }
        PROBE();
        failed_ = true;
        return add(Tok::Number, 0, -1, -1, -1);
    }

    const std::vector<Token>& tokens_;
    std::vector<Node>& nodes_;
    size_t pos_ = 0;
    bool failed_ = false;
};

long evaluate(const std::vector<Node>& nodes, int at, long x) {
    ENTRY();
    const Node& n = nodes[static_cast<size_t>(at)];
    switch (n.op) {
    case Tok::Number:
        PROBE();
        return n.value;
    case Tok::Name:
        PROBE();
        return x;
    case Tok::Question:
        PROBE();
        return evaluate(nodes, n.a, x) != 0 ? evaluate(nodes, n.b, x) : evaluate(nodes, n.c, x);
    case Tok::And:
        PROBE();
        return evaluate(nodes, n.a, x) != 0 && evaluate(nodes, n.b, x) != 0;
    case Tok::Or:
        PROBE();
        return evaluate(nodes, n.a, x) != 0 || evaluate(nodes, n.b, x) != 0;
    default:
        PROBE();
        break;
    }
    PROBE();
    long a = evaluate(nodes, n.a, x);
    if (n.op == Tok::Minus && n.b < 0) {
        PROBE();
        return -a;
    }
    PROBE();
    long b = evaluate(nodes, n.b, x);
    switch (n.op) {
    case Tok::Plus:
        PROBE();
        return a + b;
    case Tok::Minus:
        PROBE();
        return a - b;
    case Tok::Star:
        PROBE();
        return (a * b) % 1000003;
    case Tok::Slash:
        PROBE();
        if (b == 0) {
            PROBE();
            return 0;
        }
        PROBE();
        return a / b;
    case Tok::Percent:
        PROBE();
        if (b == 0) {
            PROBE();
            return 0;
        }
        PROBE();
        return a % b;
    case Tok::Less:
        PROBE();
        return a < b;
    case Tok::Equal:
        PROBE();
        return a == b;
    default:
        PROBE();
        return 0;
    }
}

long expressions(Rng& rng, int size) {
    ENTRY();
    long sum = 0;
    std::vector<Node> nodes;
    for (int i = 0; i < size / 8; ++i) {
        PROBE();
        std::string text;
        generate_expression(rng, 7, text);
        std::vector<Token> tokens = tokenize(text);
        nodes.clear();
        Parser parser(tokens, nodes);
        int root = parser.parse();
        if (root < 0) {
            PROBE();
            sum -= 1;
            continue;
        }
        PROBE();
        for (long x = -3; x <= 3; ++x) {
            PROBE();
            sum += evaluate(nodes, root, x) % 100000;
        }
        PROBE();
    }
    PROBE();
    return sum;
}

// ---------------------------------------------------------------- bytecode

// A stack machine over a generated program: a dispatch per step.
long run_machine(const std::vector<uint8_t>& code, long input) {
    ENTRY();
    long stack[32];
    int sp = 0;
    long acc = input;
    int steps = 0;
    for (size_t pc = 0; pc < code.size() && steps < 4096; ++pc, ++steps) {
        PROBE();
        switch (code[pc] & 7) {
        case 0:
            PROBE();
            stack[sp & 31] = acc;
            ++sp;
            break;
        case 1:
            PROBE();
            if (sp > 0) {
                PROBE();
                --sp;
                acc += stack[sp & 31];
            } else {
                PROBE();
                acc += 1;
            }
            PROBE();
            break;
        case 2:
            PROBE();
            acc = (acc * 3) % 1000003;
            break;
        case 3:
            PROBE();
            if (acc % 2 == 0) {
                PROBE();
                acc /= 2;
            } else {
                PROBE();
                acc = acc * 3 + 1;
            }
            PROBE();
            break;
        case 4:
            PROBE();
            // Jump back a little while the accumulator is odd.
            if ((acc & 1) != 0 && pc >= 4) {
                PROBE();
                pc -= 4;
            }
            PROBE();
            break;
        case 5:
            PROBE();
            acc ^= code[pc] >> 3;
            break;
        case 6:
            PROBE();
            acc = acc < 0 ? -acc : acc;
            break;
        default:
            PROBE();
            acc -= sp;
            break;
        }
        PROBE();
    }
    PROBE();
    return acc + sp;
}

long machine(Rng& rng, int size) {
    ENTRY();
    std::vector<uint8_t> code(256);
    for (uint8_t& op : code) {
        PROBE();
        op = static_cast<uint8_t>(rng.below(256));
    }
    PROBE();
    long sum = 0;
    for (int i = 0; i < size / 4; ++i) {
        PROBE();
        sum += run_machine(code, i) % 1000;
    }
    PROBE();
    return sum;
}

}  // namespace

// One run of every part over input generated from a fixed seed; the result
// is the same in every build variant.
long run_workload(int size) {
    ENTRY();
    Rng rng{0x9E3779B97F4A7C15ULL};
    long result = sorting(rng, size);
    result = result * 31 + hashing(rng, size);
    result = result * 31 + expressions(rng, size);
    result = result * 31 + machine(rng, size);
    return result;
}

int workload_last_line() { return __LINE__; }
