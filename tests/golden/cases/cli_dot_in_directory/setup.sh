# A dot in the directory name is no extension: ".zab" is still completed.
mkdir dir.v1 && mv model.zab dir.v1/model.zab
