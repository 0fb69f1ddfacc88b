#!/usr/bin/env bash
# Reads the export table of mirt64.dll: each Microsoft-decorated name must be there,
# demangle to its intended signature and reach the same code as the GNU and c_ names
# beside it (c_mirt_write_coverage_data is a wrapper of its own: only there).
set -u
# "name RVA" of every export: the name table gives each name's ordinal, the
# address table each ordinal's RVA.
exports=$(x86_64-w64-mingw32-objdump -p "$1" | awk '
  /Export Address Table -- / { table = 1; next }
  /\[Ordinal\/Name Pointer\] Table/ { names = 1; table = 0; next }
  /^$/ { table = names = 0 }
  table && /Export RVA/ { gsub(/[][]/, " "); rva[$1] = $4 }
  names { gsub(/[][]/, " "); print $2, rva[$1] }')
failed=0
fail() { echo "$*"; failed=1; }
address() { awk -v name="$1" '$1 == name { print $2 }' <<<"$exports"; }

# Each Microsoft-decorated name, its intended signature, and the GNU and c_
# names that must reach the same code.
while IFS='|' read -r decorated signature others; do
  got=$(llvm-undname "$decorated" | sed -n 2p)
  [ "$got" = "$signature" ] || fail "$decorated demangles to '$got', expected '$signature'"
  [ -n "$(address "$decorated")" ] || fail "missing export: $decorated"
  for name in $others; do
    [ "$(address "$name")" = "$(address "$decorated")" ] || fail "$name is not $decorated"
  done
done <<'TABLE'
?mirt_fn@@YAHH@Z|int __cdecl mirt_fn(int)|_Z7mirt_fni
?mirt_fn@@YAHPEADH@Z|int __cdecl mirt_fn(char *, int)|_Z7mirt_fnPci c_mirt_fn
??0mirt_obj@@QEAA@PEADH@Z|public: __cdecl mirt_obj::mirt_obj(char *, int)|
??1mirt_obj@@QEAA@XZ|public: __cdecl mirt_obj::~mirt_obj(void)|
??4mirt_obj@@QEAAAEAU0@AEBU0@@Z|public: struct mirt_obj & __cdecl mirt_obj::operator=(struct mirt_obj const &)|
?mirt_set_test_name@@YAXPEADH0@Z|void __cdecl mirt_set_test_name(char *, int, char *)|_Z18mirt_set_test_namePciS_ c_mirt_set_test_name
?mirt_allow_shutdown_writing@@YAX_N@Z|void __cdecl mirt_allow_shutdown_writing(bool)|_Z27mirt_allow_shutdown_writingb c_mirt_allow_shutdown_writing
?mirt_reg@@YAHPEADHPEAHPEA_J@Z|int __cdecl mirt_reg(char *, int, int *, __int64 *)|_Z8mirt_regPciPiPx c_mirt_reg
?mirt_reg2@@YAPEA_JPEADHPEAH@Z|__int64 * __cdecl mirt_reg2(char *, int, int *)|_Z9mirt_reg2PciPi c_mirt_reg2
?mirt_clear_coverage_data@@YAXXZ|void __cdecl mirt_clear_coverage_data(void)|_Z24mirt_clear_coverage_datav c_mirt_clear_coverage_data
?mirt_fn2@@YAHPEADH@Z|int __cdecl mirt_fn2(char *, int)|_Z8mirt_fn2Pci c_mirt_fn2 ?mirt_fn22@@YAXPEADH@Z _Z9mirt_fn22Pci
?mirt_fn22@@YAXPEADH@Z|void __cdecl mirt_fn22(char *, int)|
?mirt_write_coverage_data@@YAXPEBD@Z|void __cdecl mirt_write_coverage_data(char const *)|_Z24mirt_write_coverage_dataPKc
TABLE

# GNU names with code of their own.
for name in _ZN8mirt_objC1EPci _ZN8mirt_objD1Ev _ZN8mirt_objaSERKS_ c_mirt_write_coverage_data; do
  [ -n "$(address "$name")" ] || fail "missing export: $name"
done
[ $failed -eq 0 ] && echo "all exports present, demangled and joined as intended"
exit $failed
