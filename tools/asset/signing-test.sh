#!/usr/bin/env bash
# Signs the data files the validation test writes and checks every refusal of the signing
# commands: a nonzero exit and the reason on the error stream.
#   signing-test.sh TOOL SAMPLES WORKDIR
set -u
tool=$(realpath "$1") samples=$(realpath "$2") work=$3
rm -rf "$work" && mkdir -p "$work" && cd "$work" || exit 1
failures=0

# expect EXIT PATTERN command...: runs the command and checks its exit code and that its output
# (both streams, lines joined by spaces) matches the extended regular expression
expect() {
    local code=$1 pattern=$2; shift 2
    local output status
    output=$("$@" 2>&1); status=$?
    if [ "$status" != "$code" ] || ! grep -q -E -e "$pattern" <<<"${output//$'\n'/ }"; then
        echo "FAILED: $* exited $status (expected $code), output:"
        echo "$output" | sed 's/^/    /'
        echo "    expected to match: $pattern"
        failures=$((failures + 1))
    fi
}

# flip FILE OFFSET: inverts one byte in place
flip() {
    local byte
    byte=$(od -An -tu1 -j "$2" -N1 "$1" | tr -d ' ')
    printf "\\$(printf '%03o' $(( byte ^ 0xff )))" | dd of="$1" bs=1 seek="$2" conv=notrunc status=none
}

expect 0 'key, 1024 bits' "$tool" keygen signer --bits 1024
expect 0 'fingerprint [0-9a-f]{64}' "$tool" keygen other --bits 1024
expect 1 "can't create signer: File exists \(use --force to replace it\)" "$tool" keygen signer
expect 0 'private key' "$tool" keygen signer --bits 1024 --force
expect 1 "can't make a key of 1000 bits" "$tool" keygen odd --bits 1000
expect 2 'usage' "$tool" keygen
[ "$(stat -c %a signer)" = 600 ] || { echo "FAILED: the private key is readable by others"; failures=$((failures + 1)); }

expect 0 'signed.qme: signed' "$tool" sign "$samples/valid.qme" --key signer --output signed.qme
expect 0 'signature valid.*valid, 18 chunks' "$tool" verify signed.qme --key signer.pub
expect 0 'signature valid' "$tool" verify signed.qme --key signer
expect 0 'Magic::Signature' "$tool" info signed.qme
expect 0 'valid, 18 chunks' "$tool" verify signed.qme

# In place, and signed again with another key: the new signature replaces the old one
cp signed.qme inplace.qme
expect 0 'inplace.qme: signed' "$tool" sign inplace.qme --key other
expect 0 'signature valid.*valid, 18 chunks' "$tool" verify inplace.qme --key other.pub

# Refusals
expect 1 'signed.qme: the signature names another key: [0-9a-f]{64}, the given key is [0-9a-f]{64}' "$tool" verify signed.qme --key other.pub
expect 1 'valid.qme: the file is not signed' "$tool" verify "$samples/valid.qme" --key signer.pub
expect 1 "can't sign with a public key" "$tool" sign "$samples/valid.qme" --key signer.pub --output never.qme
expect 1 "truncated.qme: can't sign an invalid data file: offset" "$tool" sign "$samples/truncated.qme" --key signer --output never.qme
expect 1 "can't open missing.pub" "$tool" verify signed.qme --key missing.pub
expect 1 'signed.qme: not an RSA key' "$tool" verify signed.qme --key signed.qme
expect 2 'usage' "$tool" sign signed.qme
[ ! -e never.qme ] || { echo "FAILED: a refused signing wrote a file"; failures=$((failures + 1)); }

size=$(stat -c %s signed.qme)
head -c $((size - 1)) signed.qme > cut.qme
expect 1 'cut.qme: the signature chunk at offset [0-9]+ is cut short by 1 bytes' "$tool" verify cut.qme --key signer.pub
cp signed.qme longer.qme && printf '\0\0\0\0' >> longer.qme
expect 1 'longer.qme: 4 stray bytes after the signature chunk' "$tool" verify longer.qme --key signer.pub

# A changed byte anywhere: the header's counts, inside the first and a middle chunk, the signature
# record's head and the signature's last byte
for offset in 0 4 9 20 30 100 $((size / 2)) $((size - 140)) $((size - 1)); do
    cp signed.qme changed.qme
    flip changed.qme $offset
    expect 1 '^changed.qme: ' "$tool" verify changed.qme --key signer.pub
done
cp signed.qme changed.qme && flip changed.qme 100
expect 1 'changed.qme: signature does not match: the file was changed after it was signed' "$tool" verify changed.qme --key signer.pub

[ $failures = 0 ] && echo "all signing checks passed"
exit $(( failures != 0 ))
