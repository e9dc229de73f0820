# Every write to the dump file fails: its name leads to a full device.
ln -s /dev/full model.csv
