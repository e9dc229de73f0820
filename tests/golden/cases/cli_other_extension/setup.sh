# The ZAB file under another extension: the name is opened unchanged.
mv model.zab model.dat
