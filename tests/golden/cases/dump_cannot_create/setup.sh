# The dump file's name is taken by a directory.
mkdir model.csv
