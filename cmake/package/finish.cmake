# Run by cpack on the packages that it made: each is taken apart and put together again without this CPack's faults: scripts
# that call ldconfig where a trigger asks dpkg for it, a size that counts what links lead to, and, of debug symbols, sums
# that name a folder of this machine, files that may be run, no licence.
foreach(package IN LISTS CPACK_PACKAGE_FILES)
  execute_process(COMMAND sh -euc [=[
    package=$1
    tree=$package.tree
    rm -rf "$tree"
    dpkg-deb -R "$package" "$tree"
    cd "$tree"
    rm -f DEBIAN/postinst DEBIAN/postrm
    name=$(sed -n 's/^Package: //p' DEBIAN/control)
    case $name in
      *-dbgsym)
        find usr -name '*.debug' -exec chmod 644 {} +
        mkdir -p usr/share/doc
        ln -s "${name%-dbgsym}" "usr/share/doc/$name"
        ;;
    esac
    find usr -type f -print0 | LC_ALL=C sort -z | xargs -0 md5sum >DEBIAN/md5sums
    # As dpkg counts: each file in whole KiB, one for anything else.
    size=$(find usr -type f -printf '%s\n' -o -printf '1\n' | awk '{ n += int(($1 + 1023) / 1024) } END { print n }')
    sed -i -e "s/^Installed-Size:.*/Installed-Size: $size/" -e '/^$/d' DEBIAN/control
    cd ..
    dpkg-deb --root-owner-group -Zxz -b "$tree" "$package" >/dev/null
    rm -r "$tree"
    ]=] finish ${package} COMMAND_ERROR_IS_FATAL ANY)
endforeach()
