PATH=/usr/bin
export LANG=de_DE.UTF-8
export LANG=fr_FR.UTF-8
