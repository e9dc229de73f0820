# A file that is no ZAB file at all.
printf 'this is not a ZAB file\n' > bad.zab
