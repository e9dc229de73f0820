ln -s /dev/full st.vde
