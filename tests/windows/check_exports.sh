#!/usr/bin/env bash
# Reads the export table of mirt64.dll and checks every intended export name:
# each Microsoft-decorated name must be there and demangle to its signature,
# and each GNU and c_ name must be there too.
set -u
dll=$1
exports=$(x86_64-w64-mingw32-objdump -p "$dll" | sed -n '/\[Ordinal\/Name Pointer\] Table/,/^$/p' | sed -n 's/^\s*\[\s*[0-9]*\] //p')
failed=0

expect_name() {
  if ! grep -qxF -- "$1" <<<"$exports"; then
    echo "missing export: $1"
    failed=1
  fi
}

while IFS='|' read -r decorated signature; do
  [ -z "$decorated" ] && continue
  expect_name "$decorated"
  got=$(llvm-undname "$decorated" | sed -n 2p)
  if [ "$got" != "$signature" ]; then
    echo "$decorated demangles to '$got', expected '$signature'"
    failed=1
  fi
done <<'TABLE'
?mirt_fn@@YAHH@Z|int __cdecl mirt_fn(int)
?mirt_fn@@YAHPEADH@Z|int __cdecl mirt_fn(char *, int)
??0mirt_obj@@QEAA@PEADH@Z|public: __cdecl mirt_obj::mirt_obj(char *, int)
??1mirt_obj@@QEAA@XZ|public: __cdecl mirt_obj::~mirt_obj(void)
??4mirt_obj@@QEAAAEAU0@AEBU0@@Z|public: struct mirt_obj & __cdecl mirt_obj::operator=(struct mirt_obj const &)
?mirt_set_test_name@@YAXPEADH0@Z|void __cdecl mirt_set_test_name(char *, int, char *)
?mirt_allow_shutdown_writing@@YAX_N@Z|void __cdecl mirt_allow_shutdown_writing(bool)
?mirt_reg@@YAHPEADHPEAHPEA_J@Z|int __cdecl mirt_reg(char *, int, int *, __int64 *)
?mirt_reg2@@YAPEA_JPEADHPEAH@Z|__int64 * __cdecl mirt_reg2(char *, int, int *)
?mirt_clear_coverage_data@@YAXXZ|void __cdecl mirt_clear_coverage_data(void)
?mirt_fn2@@YAHPEADH@Z|int __cdecl mirt_fn2(char *, int)
?mirt_fn22@@YAXPEADH@Z|void __cdecl mirt_fn22(char *, int)
?mirt_write_coverage_data@@YAXPEBD@Z|void __cdecl mirt_write_coverage_data(char const *)
TABLE

for name in _Z7mirt_fni _Z7mirt_fnPci _ZN8mirt_objC1EPci _ZN8mirt_objD1Ev _ZN8mirt_objaSERKS_ \
            _Z18mirt_set_test_namePciS_ _Z27mirt_allow_shutdown_writingb \
            _Z8mirt_regPciPiPx _Z9mirt_reg2PciPi _Z24mirt_clear_coverage_datav _Z8mirt_fn2Pci _Z9mirt_fn22Pci _Z24mirt_write_coverage_dataPKc \
            c_mirt_fn c_mirt_set_test_name c_mirt_allow_shutdown_writing c_mirt_reg c_mirt_reg2 \
            c_mirt_clear_coverage_data c_mirt_fn2 c_mirt_write_coverage_data; do
  expect_name "$name"
done

[ $failed -eq 0 ] && echo "all exports present and demangled as intended"
exit $failed
