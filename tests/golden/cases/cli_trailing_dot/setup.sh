# A name ending in a bare "." has an extension: nothing is completed, and the
# dump file replaces that dot.
mv model.zab model.
